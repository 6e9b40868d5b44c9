// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Looks into a handler's queues and tables, which only derived classes may reach.
#pragma once

#include <boost/weak_ptr.hpp>
#include <cstddef>

#include "velp/runtime/MutexLocker.h"
#include "velpmsg/VelpMsgHandler.h"

namespace velp::test {

/// Reads and changes what VelpMsgHandler keeps protected. Never made: an object of a derived class
/// would still be under construction when its worker starts.
class HandlerInside : public VelpMsgHandler {
 public:
  HandlerInside() = delete;

  static Mutex& mutexOf(VelpMsgHandler& handler) { return handler.*&HandlerInside::mutex; }

  static std::size_t requestsIn(VelpMsgHandler& handler) {
    MutexLocker locker(mutexOf(handler));
    return (handler.*&HandlerInside::requestQueue).size();
  }
  static std::size_t responsesIn(VelpMsgHandler& handler) {
    MutexLocker locker(mutexOf(handler));
    return (handler.*&HandlerInside::responseQueue).size();
  }
  static boost::weak_ptr<VelpClientMessageRequest> firstRequest(VelpMsgHandler& handler) {
    MutexLocker locker(mutexOf(handler));
    return (handler.*&HandlerInside::requestQueue).front();
  }
  static boost::weak_ptr<VelpClientMessageResponse> firstResponse(VelpMsgHandler& handler) {
    MutexLocker locker(mutexOf(handler));
    return (handler.*&HandlerInside::responseQueue).front();
  }

  /// How many IDs are registered for requests.
  static std::size_t requestIDsOf(VelpMsgHandler& handler) {
    MutexLocker locker(mutexOf(handler));
    return (handler.*&HandlerInside::requestMap).size();
  }
  /// Forgets all registrations, which no operation can.
  static void forgetRegistrations(VelpMsgHandler& handler) {
    MutexLocker locker(mutexOf(handler));
    (handler.*&HandlerInside::requestMap).clear();
    (handler.*&HandlerInside::responseMap).clear();
  }

  static bool isLocked(VelpMsgHandler& handler) {
    Mutex& mutex = mutexOf(handler);
    if (!mutex.tryLock()) return true;
    mutex.unlock();
    return false;
  }
  /// Gives up a lock that an exception has left behind.
  static void unlock(VelpMsgHandler& handler) VELP_NO_THREAD_SAFETY_ANALYSIS {
    mutexOf(handler).unlock();
  }

  static Condition& conditionOf(VelpMsgHandler& handler) {
    return handler.*&HandlerInside::condition;
  }

  static bool isRunning(VelpMsgHandler& handler) { return handler.*&HandlerInside::running; }
  /// Lets the worker's loop end, as stop() does.
  static void clearRunning(VelpMsgHandler& handler) { handler.*& HandlerInside::running = false; }
  /// Lets the loop of a worker go round that is about to start.
  static void setRunning(VelpMsgHandler& handler) { handler.*& HandlerInside::running = true; }
  static bool hasHandle(VelpMsgHandler& handler) {
    return (handler.*&HandlerInside::handle) != noThread();
  }
  /// Waits for the end of a worker that stop() could not wait for.
  static void join(VelpMsgHandler& handler) {
    pthread_join(handler.*&HandlerInside::handle, nullptr);
  }
};

}  // namespace velp::test
