// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Writes log lines, whole and in turn.
#include "velp/runtime/LogUtil.h"

#include <iostream>

#include "isForcedUnwind.h"
#include "velp/runtime/MutexLocker.h"

namespace {

// Initialised before any code runs and never destroyed, so that constructors and destructors of
// static objects can log.
union NeverDestroyed {
  constexpr NeverDestroyed() : mutex() {}
  ~NeverDestroyed() {}
  Mutex mutex;
};

NeverDestroyed logMutex;

void writeAndFlush(const std::string& line) {
  // A line that was refused earlier must not silence the later ones.
  std::cout.clear();
  std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

}  // namespace

Mutex& LogUtil::mutex = logMutex.mutex;

void LogUtil::write(const char* levelTag, const char* classTag, const char* function,
                    const std::string& text) {
  // Makes std::cout usable in static constructors that run before those of this file.
  static const std::ios_base::Init streams;
  const std::string line = std::string(levelTag) + classTag + "::" + function + "() " + text + '\n';
  MutexLocker locker(mutex);
  try {
    writeAndFlush(line);
  } catch (...) {
    // The service made its std::cout throw; losing a line must not stop what was logging.
    if (velp::isForcedUnwind()) throw;
  }
}
