// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind -Wl,--wrap: count, then fail or call the real function.
#include "PosixFailures.h"

#include <pthread.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace velp::test {

namespace {

struct CallState {
  int error = 0;
  unsigned int calls = 0;
};

CallState& stateOf(PosixCall call) {
  static thread_local std::array<CallState, static_cast<std::size_t>(PosixCall::last)> states;
  return states[static_cast<std::size_t>(call)];
}

int countAndFail(PosixCall call) {
  CallState& state = stateOf(call);
  ++state.calls;
  return state.error;
}

}  // namespace

unsigned int callsOf(PosixCall call) {
  return stateOf(call).calls;
}

FailingCall::FailingCall(PosixCall call, int error) : call(call) {
  stateOf(call).error = error;
}

FailingCall::~FailingCall() {
  stateOf(call).error = 0;
}

}  // namespace velp::test

using velp::test::countAndFail;
using velp::test::PosixCall;

extern "C" {

int __real_pthread_condattr_init(pthread_condattr_t*);
int __real_pthread_condattr_setclock(pthread_condattr_t*, clockid_t);
int __real_pthread_cond_init(pthread_cond_t*, const pthread_condattr_t*);
int __real_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*);
int __real_pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*, const timespec*);
int __real_pthread_cond_signal(pthread_cond_t*);
int __real_pthread_cond_destroy(pthread_cond_t*);
int __real_clock_gettime(clockid_t, timespec*);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

int __wrap_pthread_condattr_init(pthread_condattr_t* attributes) {
  const int error = countAndFail(PosixCall::condattrInit);
  return error != 0 ? error : __real_pthread_condattr_init(attributes);
}

int __wrap_pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) {
  const int error = countAndFail(PosixCall::condattrSetclock);
  return error != 0 ? error : __real_pthread_condattr_setclock(attributes, clock);
}

int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
  const int error = countAndFail(PosixCall::condInit);
  return error != 0 ? error : __real_pthread_cond_init(condition, attributes);
}

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  const int error = countAndFail(PosixCall::condWait);
  return error != 0 ? error : __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
  const int error = countAndFail(PosixCall::condTimedwait);
  return error != 0 ? error : __real_pthread_cond_timedwait(condition, mutex, deadline);
}

int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
  const int error = countAndFail(PosixCall::condSignal);
  return error != 0 ? error : __real_pthread_cond_signal(condition);
}

int __wrap_pthread_cond_destroy(pthread_cond_t* condition) {
  const int error = countAndFail(PosixCall::condDestroy);
  return error != 0 ? error : __real_pthread_cond_destroy(condition);
}

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  const int error = countAndFail(PosixCall::clockGettime);
  if (error == 0) return __real_clock_gettime(clock, now);
  errno = error;
  return -1;
}

int __wrap_pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  const int error = countAndFail(PosixCall::threadCreate);
  if (error == 0) return __real_pthread_create(handle, attributes, body, argument);
  // The system may have written a handle when it fails.
  *handle = pthread_self();
  return error;
}

}  // extern "C"
