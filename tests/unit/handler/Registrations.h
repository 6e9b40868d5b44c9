// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Writes down what is asked of the bus proxy about callbacks, and runs hooks before it is done.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace velp::test {

/// The calls of setRxFilter, setCallBack and removeCallBack through VelpBusProxy, in their order,
/// but those of the sender. The test program is linked with a wrapper for each.
class Registrations {
 public:
  /// The calls, a filter with its kinds in hexadecimal.
  std::vector<std::string> all() const;
  void clear();
  /// Runs `hook` before the next calls of `operation`: one of the three, or sendTo or write (of a
  /// log line), which are not written down.
  void before(const std::string& operation, std::function<void()> hook);

  void note(const std::string& operation, const std::string& text);
  void runHook(const std::string& operation);

 private:
  mutable std::mutex mutex;
  std::vector<std::string> calls;
  std::map<std::string, std::function<void()>> hooks;
};

/// Never destroyed, since handlers may end late.
Registrations& registrations();

}  // namespace velp::test
