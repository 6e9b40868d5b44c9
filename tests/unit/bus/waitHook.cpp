// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind -Wl,--wrap.
#include "unit/bus/waitHook.h"

#include <pthread.h>

#include <cerrno>
#include <mutex>
#include <utility>

#include "velp/bus/Participant.h"

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

std::function<void()> beforeNextParticipant;
bool busyLinks = false;

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

int __real_pthread_rwlock_tryrdlock(pthread_rwlock_t*);
int __wrap_pthread_rwlock_tryrdlock(pthread_rwlock_t* lock) {
  return velp::test::busyLinks ? EBUSY : __real_pthread_rwlock_tryrdlock(lock);
}
}

void realMake(velp::Participant*) asm("__real__ZN4velp11ParticipantC1Ev");
void make(velp::Participant*) asm("__wrap__ZN4velp11ParticipantC1Ev");
void make(velp::Participant* participant) {
  if (const auto hook = std::exchange(velp::test::beforeNextParticipant, {})) hook();
  realMake(participant);
}
