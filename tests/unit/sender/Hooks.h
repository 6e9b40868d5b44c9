// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Puts a test's functions between the sender and what it calls.
#pragma once

#include <pthread.h>
#include <time.h>

#include <functional>
#include <string>

#include "velp/message/MessageBase.h"
#include "velp/runtime/Mutex.h"

namespace velp::test {

/// Functions that run in place of the real ones; an empty one leaves the real one alone. The test
/// program is linked with a wrapper for each.
struct Hooks {
  /// In place of VelpBusProxy::sendTo(), which is never reached: empty means true.
  std::function<bool(const MessageBase&)> sendTo;
  std::function<int(const timespec&)> condTimedWait;
  std::function<int()> condSignal;
  std::function<int()> condDestroy;
  /// Before Condition::wait() with a time-out, with the waiters' mutex held.
  std::function<void(Mutex&)> beforeWait;
  /// Before a log line, with no lock of the log held; gets the text.
  std::function<void(const std::string&)> beforeLine;
  /// Before the bus proxy's operation of that name.
  std::function<void(const char*)> beforeRegistration;
  /// Lets allocations of a mebibyte and more throw std::bad_alloc.
  bool refuseLargeAllocations = false;
};

/// The process's hooks; never destroyed, since the sender dies late. Set them while no other thread
/// runs.
Hooks& hooks();

}  // namespace velp::test
