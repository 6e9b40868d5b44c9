// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Puts a test's functions between the progress handler and what it calls.
#pragma once

#include <functional>
#include <string>

#include "velp/message/MessageBase.h"
#include "velp/runtime/VelTimer.h"

namespace velp::test {

/// The arguments of one VelTimer::registerTimer().
struct Registration {
  VelTimer::Callback callback;
  unsigned long long interval = 0;
  unsigned short id = 0;
  bool periodic = false;
};

/// Functions that run in place of the real ones, or before them. The test program is linked with a
/// wrapper for each.
struct TimerHooks {
  /// In place of VelpBusProxy::sendTo(), which is never reached: empty means true.
  std::function<bool(const std::string& target, const MessageBase&)> sendTo;
  /// In place of VelTimer::registerTimer(); empty leaves the real one alone.
  std::function<unsigned short(VelTimer&, const Registration&)> registerTimer;
  /// Before VelTimer::cancelTimer().
  std::function<void(unsigned short)> cancelTimer;
};

/// The process's hooks. Set them while no handler is there.
TimerHooks& timerHooks();

/// The real VelTimer::registerTimer().
unsigned short registerForReal(VelTimer& timer, const Registration& registration);

}  // namespace velp::test
