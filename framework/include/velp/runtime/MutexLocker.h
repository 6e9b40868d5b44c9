// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Holds a Mutex for the length of a scope.
#pragma once

#include "velp/runtime/Mutex.h"

/// Locks `mutex` when made and unlocks it when destroyed, on every way out of the scope.
///
/// Threads:  made and destroyed by the same thread.
/// Blocks:   the constructor, until the mutex is free.
/// Owns:     the lock, not the mutex, which must live longer.
/// Fails:    never.
class VELP_SCOPED_CAPABILITY MutexLocker {
 public:
  explicit MutexLocker(Mutex& mutex) VELP_ACQUIRE(mutex) : mutex(mutex) { mutex.lock(); }
  ~MutexLocker() VELP_RELEASE() { mutex.unlock(); }
  MutexLocker(const MutexLocker&) = delete;
  MutexLocker& operator=(const MutexLocker&) = delete;

 private:
  Mutex& mutex;
};
