// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Base class of objects that run a thread of their own.
#pragma once

#include <pthread.h>

#include "velp/runtime/export.h"

/// A thread's body and handle. The derived class starts it with
/// `pthread_create(&handle, nullptr, Thread::startWrapper, static_cast<Thread*>(this))`, ends it by
/// making threadCode() return, and joins it before it is destroyed.
///
/// Threads:  the derived class says.
/// Blocks:   never by itself.
/// Owns:     the handle, not the thread: whoever started it joins it.
/// Fails:    an exception that leaves threadCode() is logged at error level and ends the process,
///           since a service that goes deaf in silence is worse than one that is restarted.
class VELP_FRAMEWORK_API Thread {
 public:
  virtual ~Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  /// Entry function for pthread_create; `thread` is a Thread*. Blocks all signals in the new thread
  /// and names it after getThreadName(), then calls threadCode().
  static void* startWrapper(void* thread);

 protected:
  Thread();

  /// The thread's body.
  virtual void threadCode() = 0;
  /// The thread's name as the system shows it, cut after 15 characters.
  virtual const char* getThreadName() const;

  /// The value of `handle` while no thread exists: all bits set.
  static pthread_t noThread();

  pthread_t handle;
};
