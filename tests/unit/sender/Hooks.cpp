// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind the hooks, named as the linker's --wrap option wants them.
#include "Hooks.h"

#include <cstdlib>
#include <new>

#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/LogUtil.h"

namespace velp::test {

Hooks& hooks() {
  static Hooks& instance = *new Hooks;
  return instance;
}

namespace {

constexpr std::size_t largeAllocation = 1 << 20;

void* allocate(std::size_t size) {
  if (size >= largeAllocation && hooks().refuseLargeAllocations) {
    throw std::bad_alloc();
  }
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace
}  // namespace velp::test

using velp::test::hooks;

void* operator new(std::size_t size) {
  return velp::test::allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

int realTimedWait(pthread_cond_t*, pthread_mutex_t*,
                  const timespec*) asm("__real_pthread_cond_timedwait");
int timedWait(pthread_cond_t*, pthread_mutex_t*,
              const timespec*) asm("__wrap_pthread_cond_timedwait");
int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
  if (hooks().condTimedWait) return hooks().condTimedWait(*deadline);
  return realTimedWait(condition, mutex, deadline);
}

int realSignal(pthread_cond_t*) asm("__real_pthread_cond_signal");
int signalCondition(pthread_cond_t*) asm("__wrap_pthread_cond_signal");
int signalCondition(pthread_cond_t* condition) {
  return hooks().condSignal ? hooks().condSignal() : realSignal(condition);
}

int realDestroy(pthread_cond_t*) asm("__real_pthread_cond_destroy");
int destroyCondition(pthread_cond_t*) asm("__wrap_pthread_cond_destroy");
int destroyCondition(pthread_cond_t* condition) {
  return hooks().condDestroy ? hooks().condDestroy() : realDestroy(condition);
}

int realWait(Condition*, Mutex&, unsigned long long) asm("__real__ZN9Condition4waitER5Mutexy");
int waitForCondition(Condition*, Mutex&,
                     unsigned long long) asm("__wrap__ZN9Condition4waitER5Mutexy");
int waitForCondition(Condition* condition, Mutex& mutex, unsigned long long relative) {
  if (hooks().beforeWait) hooks().beforeWait(mutex);
  return realWait(condition, mutex, relative);
}

bool sendTo(VelpBusProxy*, const std::string&, const MessageBase&) asm(
    "__wrap__ZN12VelpBusProxy6sendToERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
    "RK11MessageBase");
bool sendTo(VelpBusProxy*, const std::string&, const MessageBase& message) {
  return hooks().sendTo ? hooks().sendTo(message) : true;
}

void realWrite(const char*, const char*, const char*, const std::string&) asm(
    "__real__ZN7LogUtil5writeEPKcS1_S1_RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void writeLine(const char*, const char*, const char*, const std::string&) asm(
    "__wrap__ZN7LogUtil5writeEPKcS1_S1_RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void writeLine(const char* level, const char* tag, const char* function, const std::string& text) {
  if (hooks().beforeLine) hooks().beforeLine(text);
  realWrite(level, tag, function, text);
}

void realSetCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__real__ZN12VelpBusProxy11setCallBackER20VelpBusProxyCallback");
void setCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__wrap__ZN12VelpBusProxy11setCallBackER20VelpBusProxyCallback");
void setCallBack(VelpBusProxy* proxy, VelpBusProxyCallback& callback) {
  if (hooks().beforeRegistration) hooks().beforeRegistration("setCallBack");
  realSetCallBack(proxy, callback);
}

void realRemoveCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__real__ZN12VelpBusProxy14removeCallBackER20VelpBusProxyCallback");
void removeCallBack(VelpBusProxy*, VelpBusProxyCallback&) asm(
    "__wrap__ZN12VelpBusProxy14removeCallBackER20VelpBusProxyCallback");
void removeCallBack(VelpBusProxy* proxy, VelpBusProxyCallback& callback) {
  if (hooks().beforeRegistration) hooks().beforeRegistration("removeCallBack");
  realRemoveCallBack(proxy, callback);
}
