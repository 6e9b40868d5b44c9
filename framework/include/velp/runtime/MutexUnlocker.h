// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Gives a held Mutex up for the length of a scope.
#pragma once

#include "velp/runtime/Mutex.h"

/// Unlocks `mutex` when made and locks it again when destroyed, on every way out of the scope.
///
/// Threads:  made and destroyed by the thread that holds the mutex.
/// Blocks:   the destructor, until the mutex is free.
/// Owns:     nothing; the mutex must live longer.
/// Fails:    never.
class VELP_SCOPED_CAPABILITY MutexUnlocker {
 public:
  explicit MutexUnlocker(Mutex& mutex) VELP_RELEASE(mutex) : mutex(mutex) { mutex.unlock(); }
  // The analysis takes the end of this scope for the lock's return, not for its release.
  ~MutexUnlocker() VELP_RELEASE() VELP_NO_THREAD_SAFETY_ANALYSIS { mutex.lock(); }
  MutexUnlocker(const MutexUnlocker&) = delete;
  MutexUnlocker& operator=(const MutexUnlocker&) = delete;

 private:
  Mutex& mutex;
};
