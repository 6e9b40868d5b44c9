// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A condition variable that keeps a signal nobody was waiting for until the next timed wait.
#pragma once

#include <pthread.h>
#include <time.h>

#include "velp/runtime/BriefWait.h"
#include "velp/runtime/Mutex.h"
#include "velp/runtime/export.h"

/// A POSIX condition variable, used together with a Mutex that its user owns.
///
/// A signal that finds nobody waiting is kept, and the next timed wait takes it and returns at once
/// as if woken spuriously; untimed waits take nothing. Any wait may wake spuriously, so callers
/// test their own state after each.
///
/// Threads:  any thread; call signal() with the waiters' mutex held, or a wake-up may be kept late.
/// Blocks:   both waits, until a signal (or the time-out), with the mutex released meanwhile.
/// Owns:     the condition variable; nobody may wait on it when it is destroyed.
/// Fails:    throws VelException with the system's error number; a time-out is not a failure.
class VELP_FRAMEWORK_API Condition {
 public:
  /// Measures time-outs on the wall clock, CLOCK_REALTIME.
  Condition();
  /// Measures time-outs on the POSIX clock `clock`: 1 is CLOCK_MONOTONIC, which no clock jump
  /// moves. Throws VelException("cannot create condition") for a clock that the system cannot wait
  /// on.
  explicit Condition(int clock);
  /// Throws VelException("cannot destroy condition") when the system refuses.
  ~Condition() noexcept(false);
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  /// Wakes one waiter. Throws VelException("cannot signal condition").
  void signal();

  /// Waits for a signal. The caller holds `mutex`, and holds it again on return.
  /// Throws VelException("cannot destroy condition"): the text is the destructor's, on purpose.
  void wait(Mutex& mutex) VELP_REQUIRES(mutex);

  /// Waits for a signal, at most `relative` microseconds. Returns 0, or ETIMEDOUT when time ran
  /// out. Throws VelException("cannot wait for condition with timeout").
  [[nodiscard]] int wait(Mutex& mutex, unsigned long long relative) VELP_REQUIRES(mutex);

  /// Sets `deadline` to `relative` microseconds after now on this condition's clock, clamped to the
  /// largest time that a timespec holds. Returns 0 or an error number.
  [[nodiscard]] int getTimeout(timespec& deadline, unsigned long long relative) const;

 private:
  bool takeKeptSignal();
  int waitUntil(Mutex& mutex, const timespec& deadline, bool mayYield) VELP_REQUIRES(mutex);
  bool yieldForSignal(Mutex& mutex) VELP_REQUIRES(mutex);
  unsigned int countSignals() const;

  // Constant after construction.
  const clockid_t clock;

  // Used by the only waiter there is.
  velp::BriefWait briefWait;

  // Own synchronisation. The counts and the flag are accessed with the waiters' mutex held by every
  // well-behaved caller, and atomically, so that one who signals without it causes no data race.
  pthread_cond_t condition;
  unsigned int waiters = 0;
  unsigned int signals = 0;
  bool signalKept = false;
};
