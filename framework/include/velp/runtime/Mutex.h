// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One POSIX mutex as an object that clang's thread-safety analysis understands.
#pragma once

#include <pthread.h>

#include "velp/runtime/ThreadAnnotations.h"
#include "velp/runtime/export.h"

/// A POSIX mutex with default attributes: not recursive, not robust, private to the process.
///
/// Threads:  any thread; the thread that locked it unlocks it.
/// Blocks:   lock(), until the holder unlocks.
/// Owns:     the mutex, destroyed with the object; nobody may hold it then.
/// Fails:    never reports: the results of the POSIX calls are not checked.
class VELP_FRAMEWORK_API VELP_CAPABILITY("mutex") Mutex {
 public:
  /// Constant: a static Mutex works before any constructor has run.
  constexpr Mutex() noexcept {}
  virtual ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() VELP_ACQUIRE();
  void unlock() VELP_RELEASE();
  /// Takes the lock if it is free, and says whether it did; never waits.
  [[nodiscard]] bool tryLock() VELP_TRY_ACQUIRE(true);

 private:
  friend class Condition;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};
