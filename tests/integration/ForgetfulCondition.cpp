// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The framework's condition as POSIX alone would make it: a signal that finds nobody is lost.
#include "velp/runtime/Condition.h"

Condition::Condition() : Condition(CLOCK_REALTIME) {}

Condition::Condition(int clock) : clock(clock) {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, clock);
  pthread_cond_init(&condition, &attributes);
  pthread_condattr_destroy(&attributes);
}

Condition::~Condition() noexcept(false) {
  pthread_cond_destroy(&condition);
}

void Condition::signal() {
  pthread_cond_signal(&condition);
}

void Condition::wait(Mutex& mutex) {
  pthread_cond_wait(&condition, &mutex.mutex);
}

int Condition::wait(Mutex& mutex, unsigned long long relative) {
  timespec deadline;
  int rc = getTimeout(deadline, relative);
  if (rc == 0) rc = pthread_cond_timedwait(&condition, &mutex.mutex, &deadline);
  return rc;
}

int Condition::getTimeout(timespec& deadline, unsigned long long) const {
  return clock_gettime(clock, &deadline);
}
