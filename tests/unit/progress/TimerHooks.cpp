// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind the hooks, named as the linker's --wrap option wants them.
#include "TimerHooks.h"

#include "velp/bus/VelpBusProxy.h"

using velp::test::timerHooks;

bool sendTo(VelpBusProxy*, const std::string&, const MessageBase&) asm(
    "__wrap__ZN12VelpBusProxy6sendToERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
    "RK11MessageBase");
bool sendTo(VelpBusProxy*, const std::string& target, const MessageBase& message) {
  return timerHooks().sendTo ? timerHooks().sendTo(target, message) : true;
}

unsigned short
realRegisterTimer(VelTimer*, VelTimer::Callback, unsigned long long, unsigned short, bool) asm(
    "__real__ZN8VelTimer13registerTimerE"
    "N5boost8functionIFNS_13timerResult_tEytRyEEEytb");
unsigned short
registerTimer(VelTimer*, VelTimer::Callback, unsigned long long, unsigned short, bool) asm(
    "__wrap__ZN8VelTimer13registerTimerE"
    "N5boost8functionIFNS_13timerResult_tEytRyEEEytb");
unsigned short registerTimer(VelTimer* timer, VelTimer::Callback callback,
                             unsigned long long interval, unsigned short id, bool periodic) {
  if (!timerHooks().registerTimer) {
    return realRegisterTimer(timer, callback, interval, id, periodic);
  }
  return timerHooks().registerTimer(*timer, {callback, interval, id, periodic});
}

void realCancelTimer(VelTimer*, unsigned short) asm("__real__ZN8VelTimer11cancelTimerEt");
void cancelTimer(VelTimer*, unsigned short) asm("__wrap__ZN8VelTimer11cancelTimerEt");
void cancelTimer(VelTimer* timer, unsigned short handle) {
  if (timerHooks().cancelTimer) timerHooks().cancelTimer(handle);
  realCancelTimer(timer, handle);
}

namespace velp::test {

TimerHooks& timerHooks() {
  static TimerHooks& instance = *new TimerHooks;
  return instance;
}

unsigned short registerForReal(VelTimer& timer, const Registration& registration) {
  return realRegisterTimer(&timer, registration.callback, registration.interval, registration.id,
                           registration.periodic);
}

}  // namespace velp::test
