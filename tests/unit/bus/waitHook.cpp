// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind -Wl,--wrap.
#include "unit/bus/waitHook.h"

#include <pthread.h>

#include <cerrno>
#include <mutex>
#include <utility>

namespace velp::test {

namespace {

std::mutex hookMutex;
std::function<void()> hook;
thread_local bool noMoreThreads = false;

void callHook() {
  std::function<void()> current;
  {
    std::lock_guard<std::mutex> locker(hookMutex);
    current = hook;
  }
  if (current) current();
}

void setHook(std::function<void()> function) {
  std::lock_guard<std::mutex> locker(hookMutex);
  hook = std::move(function);
}

}  // namespace

WaitHook::WaitHook(std::function<void()> function) {
  setHook(std::move(function));
}

WaitHook::~WaitHook() {
  setHook({});
}

NoMoreThreads::NoMoreThreads() {
  noMoreThreads = true;
}

NoMoreThreads::~NoMoreThreads() {
  noMoreThreads = false;
}

}  // namespace velp::test

extern "C" {

int __real_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  velp::test::callHook();
  return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
  if (velp::test::noMoreThreads) return EAGAIN;
  return __real_pthread_create(thread, attributes, function, argument);
}
}
