// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One client of the timer service.
#include "velp/runtime/VelTimer.h"

#include <utility>

#include "TimerService.h"

using velp::TimerService;

VelTimer::VelTimer() : identity(std::make_shared<char>()) {}

VelTimer::~VelTimer() {
  TimerService::get().cancelAll(identity);
}

unsigned short VelTimer::registerTimer(Callback callback, unsigned long long interval,
                                       unsigned short id, bool periodic) {
  return TimerService::get().add(identity, std::move(callback), interval, id, periodic);
}

void VelTimer::cancelTimer(unsigned short handle) {
  TimerService::get().cancel(identity, handle);
}
