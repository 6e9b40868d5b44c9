// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Holds the handler's mutex for the length of a scope, and wakes the worker inside it.
#pragma once

#include "velp/runtime/Condition.h"
#include "velp/runtime/Mutex.h"

/// A MutexLocker that gives the lock up on every way out but one: a failed signal.
class VELP_SCOPED_CAPABILITY SignalLocker {
 public:
  explicit SignalLocker(Mutex& mutex) VELP_ACQUIRE(mutex) : mutex(mutex) { mutex.lock(); }
  ~SignalLocker() VELP_RELEASE() {
    if (!signalFailed) mutex.unlock();
  }
  SignalLocker(const SignalLocker&) = delete;
  SignalLocker& operator=(const SignalLocker&) = delete;

  void signal(Condition& condition) {
    // QUIRK(14): when the signal fails, its exception leaves with the mutex locked.
    signalFailed = true;
    condition.signal();
    signalFailed = false;
  }

 private:
  Mutex& mutex;
  bool signalFailed = false;
};
