// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Signals that come while the waiter still yields.
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "PosixFailures.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/MutexLocker.h"

using velp::test::callsOf;
using velp::test::InsteadOfYields;
using velp::test::PosixCall;

namespace {

constexpr unsigned long long watchdog = 20 * 1000000ULL;

struct ConditionYield : testing::Test {
  ~ConditionYield() noexcept override = default;

  void signal() {
    MutexLocker locker(mutex);
    sut.signal();
  }
  int timedWait(unsigned long long relative) {
    MutexLocker locker(mutex);
    return sut.wait(mutex, relative);
  }
  void wait() {
    MutexLocker locker(mutex);
    sut.wait(mutex);
  }

  unsigned int yields() const { return callsOf(PosixCall::yield) - yieldsBefore; }
  unsigned int sleeps() const { return sleepCalls() - sleepsBefore; }
  static unsigned int sleepCalls() {
    return callsOf(PosixCall::condWait) + callsOf(PosixCall::condTimedwait);
  }

  Mutex mutex;
  Condition sut{1};
  const unsigned int yieldsBefore = callsOf(PosixCall::yield);
  const unsigned int sleepsBefore = sleepCalls();
};

TEST_F(ConditionYield, EndsWithASignalInsteadOfSleep) {
  const InsteadOfYields signals([this] { signal(); });
  wait();
  EXPECT_EQ(sleeps(), 0u);
  EXPECT_EQ(yields(), 1u);
}

TEST_F(ConditionYield, EndsWithASignalInsteadOfTimedSleep) {
  const InsteadOfYields signals([this] { signal(); });
  EXPECT_EQ(timedWait(watchdog), 0);
  EXPECT_EQ(sleeps(), 0u);
  EXPECT_EQ(yields(), 1u);
}

TEST_F(ConditionYield, DoesNotKeepASignalThatTheYieldingWaiterTook) {
  {
    const InsteadOfYields signals([this] { signal(); });
    wait();
  }
  EXPECT_EQ(timedWait(10), ETIMEDOUT);
}

TEST_F(ConditionYield, IsLeftOutWhenTheTimeOutIsNoLongerThanTheYields) {
  for (const unsigned long long relative : {0u, 1u, 50u}) {
    EXPECT_EQ(timedWait(relative), ETIMEDOUT);
  }
  EXPECT_EQ(yields(), 0u);
}

TEST_F(ConditionYield, IsLeftOutWhenASignalWasKept) {
  signal();
  EXPECT_EQ(timedWait(watchdog), 0);
  EXPECT_EQ(yields(), 0u);
}

TEST_F(ConditionYield, EndsInSleepWhenNothingComes) {
  EXPECT_EQ(timedWait(1000), ETIMEDOUT);
  EXPECT_GT(yields(), 0u);
  EXPECT_EQ(sleeps(), 1u);
}

TEST_F(ConditionYield, IsForOneOfSeveralWaitersAtATime) {
  bool secondYielded = true;
  const InsteadOfYields waits([&] {
    std::thread([&] {
      EXPECT_EQ(timedWait(1000), ETIMEDOUT);
      secondYielded = callsOf(PosixCall::yield) != 0;
    }).join();
    signal();
  });
  wait();
  EXPECT_FALSE(secondYielded);
}

}  // namespace
