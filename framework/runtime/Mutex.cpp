// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A mutex's operations: the POSIX calls, unchecked.
#include "velp/runtime/Mutex.h"

Mutex::~Mutex() {
  pthread_mutex_destroy(&mutex);
}

void Mutex::lock() {
  pthread_mutex_lock(&mutex);
}

void Mutex::unlock() {
  pthread_mutex_unlock(&mutex);
}

bool Mutex::tryLock() {
  return pthread_mutex_trylock(&mutex) == 0;
}
