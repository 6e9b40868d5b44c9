// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The timer service: callbacks at intervals, on one thread per process.
#pragma once

#include <boost/function.hpp>
#include <memory>

#include "velp/runtime/export.h"

/// A client of the process's timer thread, named velp-timer, which starts on first use.
///
/// Threads:  any operation from any thread, also from inside a callback.
/// Blocks:   only the destructor, until a running callback of this object has returned (except when
///           called from inside that callback). cancelTimer() never waits.
/// Owns:     its registrations; the destructor cancels them all.
/// Fails:    registerTimer() returns 0. An exception out of a callback ends that timer, is logged
///           at error level, and harms no other timer.
class VELP_FRAMEWORK_API VelTimer {
 public:
  /// What a callback answers: any other value counts as TIMER_CONTINUE.
  enum timerResult_t : unsigned int {
    TIMER_STOP = 0,      ///< end this timer
    TIMER_CONTINUE = 1,  ///< a periodic timer goes on
  };

  /// Arguments: the time the tick was due (milliseconds, monotonic clock), the id given at
  /// registration, and the interval in milliseconds, which the callback may change for the ticks to
  /// come (0 leaves it as it was).
  using Callback =
      boost::function<timerResult_t(unsigned long long, unsigned short, unsigned long long&)>;

  VelTimer();
  ~VelTimer();
  VelTimer(const VelTimer&) = delete;
  VelTimer& operator=(const VelTimer&) = delete;

  /// Calls `callback` every `interval` milliseconds until cancelled, or once if not `periodic`.
  /// Late ticks are not made up for in a burst. Returns the timer's handle, never that of another
  /// live timer of the process, or 0 when refused: interval 0, empty callback, 65,535 timers, or no
  /// thread to be had.
  [[nodiscard]] unsigned short registerTimer(Callback callback, unsigned long long interval,
                                             unsigned short id, bool periodic);

  /// Stops the timer: no tick starts after the return, but one that is running is not waited for.
  /// Handle 0, an unknown handle and one of another VelTimer are ignored.
  void cancelTimer(unsigned short handle);

 private:
  // Whose registrations are whose: outlives the object while its last callback runs.
  const std::shared_ptr<const void> identity;
};
