// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A condition variable that closes the gap between a waiter's test and its wait.
//
// The problem: the sender tests its flag under one mutex and waits under another, so the signal for
// that flag can fall into the gap between the two, where POSIX has nobody to wake:
//
//     waiter                          signaller
//     flag is not set
//                                     sets the flag
//                                     locks the waiters' mutex, signals: nobody waits
//     locks the waiters' mutex
//     waits until the time-out, although the flag is set
//
// The cure: signal() keeps a signal that finds no waiter, and the next timed wait takes it and
// returns 0 at once, exactly like a spurious wake-up. The waiter looks at its flag again and finds
// it set. A kept signal that nobody needed costs the next timed wait one more look.
//
// Signallers that hold the waiters' mutex see `waiters` exactly: a waiter counts itself while it
// holds the mutex, and pthread_cond_wait() gives the mutex up and waits in one step. A waiter that
// has been woken, or whose time ran out, still counts until it has the mutex again; a signal that
// falls there need not be kept, since that waiter looks at its flags after the signaller set them,
// or was too late anyway.
//
// Untimed waits take nothing: their users test and wait under one mutex and have no gap.
//
// Before it sleeps a waiter yields for a moment (BriefWait.cpp), counted as a waiter but without
// the mutex. `signals` tells it of a signal that came meanwhile; it looks once more when it has the
// mutex again, after which no signal can pass it by.
#include "velp/runtime/Condition.h"

#include <cerrno>

#include "Deadline.h"
#include "velp/runtime/MutexUnlocker.h"
#include "velp/runtime/VelException.h"

namespace {

// Counts a waiter for the length of its wait, also when the wait is left by forced unwinding.
class WaiterCount {
 public:
  explicit WaiterCount(unsigned int& waiters) : waiters(waiters) {
    __atomic_add_fetch(&waiters, 1, __ATOMIC_SEQ_CST);
  }
  ~WaiterCount() { __atomic_sub_fetch(&waiters, 1, __ATOMIC_SEQ_CST); }
  WaiterCount(const WaiterCount&) = delete;
  WaiterCount& operator=(const WaiterCount&) = delete;

 private:
  unsigned int& waiters;
};

// Microseconds. A shorter wait would be over before the yields are.
constexpr unsigned long long longestYields = velp::BriefWait::longest / 1000;

int initialise(pthread_cond_t& condition, clockid_t clock) {
  pthread_condattr_t attributes;
  int rc = pthread_condattr_init(&attributes);
  if (rc != 0) return rc;
  rc = pthread_condattr_setclock(&attributes, clock);
  if (rc == 0) rc = pthread_cond_init(&condition, &attributes);
  pthread_condattr_destroy(&attributes);
  return rc;
}

}  // namespace

Condition::Condition() : Condition(CLOCK_REALTIME) {}

Condition::Condition(int clock) : clock(clock) {
  const int rc = initialise(condition, clock);
  if (rc != 0) throw VelException(rc, "cannot create condition");
}

Condition::~Condition() noexcept(false) {
  const int rc = pthread_cond_destroy(&condition);
  if (rc != 0) throw VelException(rc, "cannot destroy condition");
}

void Condition::signal() {
  if (__atomic_load_n(&waiters, __ATOMIC_SEQ_CST) == 0) {
    __atomic_store_n(&signalKept, true, __ATOMIC_SEQ_CST);
  }
  __atomic_add_fetch(&signals, 1, __ATOMIC_SEQ_CST);
  const int rc = pthread_cond_signal(&condition);
  if (rc != 0) throw VelException(rc, "cannot signal condition");
}

void Condition::wait(Mutex& mutex) {
  const WaiterCount counted(waiters);
  if (yieldForSignal(mutex)) return;
  const int rc = pthread_cond_wait(&condition, &mutex.mutex);
  // QUIRK(1): a failed untimed wait reports the destroy text, which callers and log readers know.
  if (rc != 0) throw VelException(rc, "cannot destroy condition");
}

int Condition::wait(Mutex& mutex, unsigned long long relative) {
  timespec deadline;
  int rc = getTimeout(deadline, relative);
  if (rc == 0 && !takeKeptSignal()) rc = waitUntil(mutex, deadline, relative > longestYields);
  if (rc != 0 && rc != ETIMEDOUT) {
    throw VelException(rc, "cannot wait for condition with timeout");
  }
  return rc;
}

int Condition::getTimeout(timespec& deadline, unsigned long long relative) const {
  timespec now;
  if (clock_gettime(clock, &now) != 0) return errno;
  velp::deadlineAfter(now, relative, deadline);
  return 0;
}

bool Condition::takeKeptSignal() {
  return __atomic_exchange_n(&signalKept, false, __ATOMIC_SEQ_CST);
}

int Condition::waitUntil(Mutex& mutex, const timespec& deadline, bool mayYield) {
  const WaiterCount counted(waiters);
  if (mayYield && yieldForSignal(mutex)) return 0;
  return pthread_cond_timedwait(&condition, &mutex.mutex, &deadline);
}

bool Condition::yieldForSignal(Mutex& mutex) {
  // Of several waiters one alone may use briefWait.
  if (__atomic_load_n(&waiters, __ATOMIC_SEQ_CST) != 1 || !briefWait.begin()) return false;
  const unsigned int before = countSignals();
  {
    MutexUnlocker unlocker(mutex);
    briefWait.yieldUntil([&] { return countSignals() != before; });
  }
  return countSignals() != before;
}

unsigned int Condition::countSignals() const {
  return __atomic_load_n(&signals, __ATOMIC_SEQ_CST);
}
