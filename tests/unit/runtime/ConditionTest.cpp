// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Waits, signals, kept signals and clocks of Condition.
#include "velp/runtime/Condition.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>

#include "PosixFailures.h"
#include "tests/support/Latch.h"
#include "velp/runtime/MutexLocker.h"

using velp::test::callsOf;
using velp::test::Latch;
using velp::test::PosixCall;

namespace {

constexpr unsigned long long watchdog = 20 * 1000000ULL;

// A condition with its mutex, and threads that wait on it.
struct ConditionTest : testing::Test {
  ~ConditionTest() noexcept override = default;

  int timedWait(unsigned long long relative) {
    MutexLocker locker(mutex);
    return sut.wait(mutex, relative);
  }

  // The thread waits as soon as the result of this function is there: it holds the mutex from its
  // announcement until it waits, and here the mutex was taken after the announcement.
  template <typename Wait>
  std::future<int> startWaiter(Wait wait) {
    auto waiter = std::async(std::launch::async, [this, wait] {
      MutexLocker locker(mutex);
      announced.arrive();
      return wait();
    });
    EXPECT_TRUE(announced.waitFor(++waitersStarted));
    MutexLocker locker(mutex);
    return waiter;
  }
  std::future<int> startUntimedWaiter() {
    return startWaiter([this]() VELP_REQUIRES(mutex) {
      sut.wait(mutex);
      return 0;
    });
  }
  std::future<int> startTimedWaiter() {
    return startWaiter([this]() VELP_REQUIRES(mutex) { return sut.wait(mutex, watchdog); });
  }

  void signal() {
    MutexLocker locker(mutex);
    sut.signal();
  }

  Mutex mutex;
  Condition sut;
  Latch announced;
  unsigned int waitersStarted = 0;
};

timespec now(clockid_t clock) {
  timespec result;
  clock_gettime(clock, &result);
  return result;
}

bool notAfter(const timespec& first, const timespec& second) {
  return first.tv_sec < second.tv_sec ||
         (first.tv_sec == second.tv_sec && first.tv_nsec <= second.tv_nsec);
}

// Whether `sut` reckons its deadlines from the present of `clock`.
void expectClock(const Condition& sut, clockid_t clock) {
  timespec deadline;
  const timespec before = now(clock);

  ASSERT_EQ(sut.getTimeout(deadline, 5 * 1000000ULL), 0);

  const timespec after = now(clock);
  deadline.tv_sec -= 5;
  EXPECT_TRUE(notAfter(before, deadline));
  EXPECT_TRUE(notAfter(deadline, after));
}

}  // namespace

TEST_F(ConditionTest, SignalWakesAnUntimedWaiter) {
  auto waiter = startUntimedWaiter();

  signal();

  EXPECT_EQ(waiter.get(), 0);
}

TEST_F(ConditionTest, SignalWakesATimedWaiterWithResult0) {
  auto waiter = startTimedWaiter();

  signal();

  EXPECT_EQ(waiter.get(), 0);
}

TEST_F(ConditionTest, EachSignalWakesOneOfSeveralWaiters) {
  auto first = startUntimedWaiter();
  auto second = startTimedWaiter();

  signal();
  signal();

  EXPECT_EQ(first.get(), 0);
  EXPECT_EQ(second.get(), 0);
}

TEST_F(ConditionTest, TimedWaitThatRunsOutReturns110AndThrowsNothing) {
  int result = 0;

  EXPECT_NO_THROW(result = timedWait(1000));

  EXPECT_EQ(result, 110);
  EXPECT_EQ(result, ETIMEDOUT);
}

TEST_F(ConditionTest, TimedWaitOf0RunsOutAtOnce) {
  EXPECT_EQ(timedWait(0), ETIMEDOUT);
}

TEST_F(ConditionTest, WaitReturnsWithTheMutexHeld) {
  MutexLocker locker(mutex);

  ASSERT_EQ(sut.wait(mutex, 0), ETIMEDOUT);

  auto other = std::async(std::launch::async, [this] {
    const bool free = mutex.tryLock();
    if (free) mutex.unlock();
    return free;
  });
  EXPECT_FALSE(other.get());
}

TEST_F(ConditionTest, SignalThatFindsNobodyIsKeptForTheNextTimedWait) {
  sut.signal();

  const unsigned int before = callsOf(PosixCall::condTimedwait);
  EXPECT_EQ(timedWait(watchdog), 0);
  EXPECT_EQ(callsOf(PosixCall::condTimedwait), before);
}

TEST_F(ConditionTest, SeveralSignalsThatFindNobodyAreKeptAsOne) {
  sut.signal();
  sut.signal();

  EXPECT_EQ(timedWait(0), 0);
  EXPECT_EQ(timedWait(0), ETIMEDOUT);
}

TEST_F(ConditionTest, SignalThatWakesAWaiterIsNotKept) {
  auto waiter = startTimedWaiter();

  signal();

  EXPECT_EQ(waiter.get(), 0);
  EXPECT_EQ(timedWait(0), ETIMEDOUT);
}

TEST_F(ConditionTest, UntimedWaitTakesNoKeptSignal) {
  sut.signal();

  auto waiter = startUntimedWaiter();
  EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  signal();
  EXPECT_EQ(waiter.get(), 0);

  EXPECT_EQ(timedWait(0), 0);
}

TEST_F(ConditionTest, SignalCallsTheSystemWhetherKeptOrNot) {
  const unsigned int before = callsOf(PosixCall::condSignal);
  sut.signal();
  EXPECT_EQ(callsOf(PosixCall::condSignal), before + 1);

  auto waiter = startUntimedWaiter();
  signal();
  EXPECT_EQ(callsOf(PosixCall::condSignal), before + 2);
  EXPECT_EQ(waiter.get(), 0);
}

TEST_F(ConditionTest, CancelledWaiterDoesNotCountAnyLonger) {
  struct Waiter {
    static void* body(void* test) {
      auto* self = static_cast<ConditionTest*>(test);
      MutexLocker locker(self->mutex);
      self->announced.arrive();
      while (true) self->sut.wait(self->mutex);
    }
  };
  pthread_t waiter;
  ASSERT_EQ(pthread_create(&waiter, nullptr, Waiter::body, static_cast<ConditionTest*>(this)), 0);
  ASSERT_TRUE(announced.waitFor());

  pthread_cancel(waiter);
  pthread_join(waiter, nullptr);
  signal();

  EXPECT_EQ(timedWait(watchdog), 0);
}

TEST(Condition, MeasuresOnTheWallClockByDefault) {
  expectClock(Condition(), CLOCK_REALTIME);
}

TEST(Condition, MeasuresOnTheMonotonicClockWithArgument1) {
  expectClock(Condition(1), CLOCK_MONOTONIC);
}

TEST(Condition, WaitsOnTheMonotonicClockForTheWholeTime) {
  Mutex mutex;
  Condition sut(1);
  const auto before = std::chrono::steady_clock::now();

  MutexLocker locker(mutex);
  EXPECT_EQ(sut.wait(mutex, 20000), ETIMEDOUT);

  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

TEST(Condition, AbsurdlyLongWaitIsAWait) {
  Mutex mutex;
  Condition sut(1);
  Latch announced;
  auto waiter = std::async(std::launch::async, [&] {
    MutexLocker locker(mutex);
    announced.arrive();
    return sut.wait(mutex, ~0ULL);
  });
  ASSERT_TRUE(announced.waitFor());

  EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  {
    MutexLocker locker(mutex);
    sut.signal();
  }

  EXPECT_EQ(waiter.get(), 0);
}
