// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind -Wl,--wrap: count, then fail or call the real function.
#include "PosixFailures.h"

#include <pthread.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace velp::test {

namespace {

struct CallState {
  int error = 0;
  unsigned int calls = 0;
  std::function<void()> before;
  std::function<void()> action;
};

CallState& stateOf(PosixCall call) {
  static thread_local std::array<CallState, static_cast<std::size_t>(PosixCall::last)> states;
  return states[static_cast<std::size_t>(call)];
}

std::function<void()>& yieldAction() {
  static thread_local std::function<void()> action;
  return action;
}

int countAndFail(PosixCall call) {
  CallState& state = stateOf(call);
  ++state.calls;
  if (const auto action = std::exchange(state.before, {})) action();
  if (state.action) state.action();
  return state.error;
}

}  // namespace

unsigned int callsOf(PosixCall call) {
  return stateOf(call).calls;
}

void beforeNext(PosixCall call, std::function<void()> action) {
  stateOf(call).before = std::move(action);
}

FailingCall::FailingCall(PosixCall call, int error, std::function<void()> action) : call(call) {
  stateOf(call).error = error;
  stateOf(call).action = std::move(action);
}

FailingCall::~FailingCall() {
  stateOf(call).error = 0;
  stateOf(call).action = nullptr;
}

InsteadOfYields::InsteadOfYields(std::function<void()> action) {
  yieldAction() = std::move(action);
}

InsteadOfYields::~InsteadOfYields() {
  yieldAction() = nullptr;
}

}  // namespace velp::test

using velp::test::countAndFail;
using velp::test::PosixCall;
using velp::test::yieldAction;

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
int __real_sched_yield();

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

int __wrap_sched_yield() {
  countAndFail(PosixCall::yield);
  if (!yieldAction()) return __real_sched_yield();
  yieldAction()();
  return 0;
}

}  // extern "C"
