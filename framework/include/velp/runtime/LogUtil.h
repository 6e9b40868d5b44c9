// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The one log line format of the framework and the library.
#pragma once

#include <sstream>
#include <string>

#include "velp/runtime/Mutex.h"
#include "velp/runtime/export.h"

/// Writes log lines to standard output, one at a time, flushed: level tag, class tag, "::",
/// function name, "() ", text.
///
///     LogUtil::error("VelS", "sendRequestWaitForResponse", "Failed to send request");
///
/// Threads:  any thread; lines never interleave.
/// Blocks:   while another line is being written, and while standard output cannot take more.
/// Owns:     `mutex`, which lives until the process is gone.
/// Fails:    never; a line that standard output refuses is lost.
class VELP_FRAMEWORK_API LogUtil {
 public:
  /// Innermost lock of the process: nothing is locked while it is held. Never destroyed.
  static Mutex& mutex;

  template <typename... Parts>
  static void debug(const char* classTag, const char* function, const Parts&... text) {
    write("[DEBUG] ", classTag, function, join(text...));
  }
  template <typename... Parts>
  static void info(const char* classTag, const char* function, const Parts&... text) {
    write("[INFO] ", classTag, function, join(text...));
  }
  template <typename... Parts>
  static void warning(const char* classTag, const char* function, const Parts&... text) {
    write("[WARNING] ", classTag, function, join(text...));
  }
  template <typename... Parts>
  static void error(const char* classTag, const char* function, const Parts&... text) {
    write("[ERROR] ", classTag, function, join(text...));
  }

  /// Writes one line; the text is written as it is.
  static void write(const char* levelTag, const char* classTag, const char* function,
                    const std::string& text);

 private:
  template <typename... Parts>
  static std::string join(const Parts&... parts) {
    std::ostringstream stream;
    static_cast<void>((stream << ... << parts));
    return stream.str();
  }
};

namespace velp {

/// `text` with every byte outside printable ASCII, and every backslash, written as \xHH in lower
/// case ("a\nb" becomes "a\x0ab"): for text from outside, so that nobody can forge a log line.
VELP_FRAMEWORK_API std::string escaped(const std::string& text);

}  // namespace velp
