// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The process's timer thread and its table of timers.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <utility>

#include "velp/runtime/Condition.h"
#include "velp/runtime/Mutex.h"
#include "velp/runtime/Thread.h"
#include "velp/runtime/VelTimer.h"

namespace velp {

/// When a tick is due that follows the one due at `due`: a multiple of `interval` later, the first
/// that lies after `now`; what does not fit is the largest number.
unsigned long long nextDue(unsigned long long due, unsigned long long interval,
                           unsigned long long now);

/// Runs the callbacks of all VelTimers, earliest first, one at a time and with its lock released.
///
/// Threads:  any thread.
/// Blocks:   only cancelAll().
/// Owns:     the callbacks; destroys them with its lock released.
/// Fails:    add() returns 0.
class TimerService : private Thread {
 public:
  using Owner = std::shared_ptr<const void>;

  /// The one service of the process, made on first use and never destroyed; a forked child, which
  /// inherits no thread, gets a new one.
  static TimerService& get();

  TimerService() = default;
  ~TimerService() noexcept override = default;

  /// See VelTimer::registerTimer(). Starts the thread if there is none yet.
  unsigned short add(const Owner& owner, VelTimer::Callback callback, unsigned long long interval,
                     unsigned short id, bool periodic) VELP_EXCLUDES(mutex);
  /// See VelTimer::cancelTimer().
  void cancel(const Owner& owner, unsigned short handle) VELP_EXCLUDES(mutex);
  /// Cancels all timers of `owner` and waits until none of their callbacks is running or being
  /// destroyed, unless called from inside one.
  void cancelAll(const Owner& owner) VELP_EXCLUDES(mutex);

 private:
  struct Timer;
  using TimerPtr = std::shared_ptr<Timer>;

  void threadCode() override VELP_EXCLUDES(mutex);
  const char* getThreadName() const override;

  TimerPtr waitForDue() VELP_EXCLUDES(mutex);
  void settle(const TimerPtr& timer, bool goesOn) VELP_EXCLUDES(mutex);
  void setIdle() VELP_EXCLUDES(mutex);

  bool startNoLock() VELP_REQUIRES(mutex);
  unsigned short takeHandleNoLock() VELP_REQUIRES(mutex);
  void enqueueNoLock(const TimerPtr& timer) VELP_REQUIRES(mutex);
  TimerPtr removeNoLock(unsigned short handle) VELP_REQUIRES(mutex);
  bool mustWaitForNoLock(const Owner& owner) const VELP_REQUIRES(mutex);

  Mutex mutex;
  Condition wake{CLOCK_MONOTONIC};  // Another timer has become the first in the queue.
  Condition idle;                   // No callback is running.

  // The live timers by handle, and by due time those of them whose callback is not running.
  std::map<unsigned short, TimerPtr> timers VELP_GUARDED_BY(mutex);
  std::set<std::pair<unsigned long long, unsigned short>> queue VELP_GUARDED_BY(mutex);
  unsigned short lastHandle VELP_GUARDED_BY(mutex) = 0;
  Owner running VELP_GUARDED_BY(mutex);
};

}  // namespace velp
