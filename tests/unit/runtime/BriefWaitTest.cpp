// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Yields on a clock of the test's own, and counts them.
#include "velp/runtime/BriefWait.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>

namespace {

struct FakeProcessor {
  long long now = 0;         // nanoseconds
  long long yieldTakes = 0;  // nanoseconds
  unsigned int yields = 0;
};

FakeProcessor* processor = nullptr;

}  // namespace

extern "C" {

int __real_clock_gettime(clockid_t, timespec*);
int __real_sched_yield();

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  if (processor == nullptr) return __real_clock_gettime(clock, now);
  now->tv_sec = static_cast<time_t>(processor->now / 1000000000);
  now->tv_nsec = static_cast<decltype(now->tv_nsec)>(processor->now % 1000000000);
  return 0;
}

int __wrap_sched_yield() {
  if (processor == nullptr) return __real_sched_yield();
  processor->now += processor->yieldTakes;
  ++processor->yields;
  return 0;
}

}  // extern "C"

namespace velp::test {
namespace {

constexpr unsigned int never = 1000000;

struct BriefWaits : testing::Test {
  BriefWaits() { processor = &fake; }
  ~BriefWaits() override { processor = nullptr; }

  /// Whether what comes at the `arrival`-th yield has come; one wait that is not skipped.
  bool wait(unsigned int arrival, long long yieldTakes) {
    fake.yields = 0;
    fake.yieldTakes = yieldTakes;
    return sut.yieldUntil([&] { return fake.yields >= arrival; });
  }
  /// How many waits are skipped until the next one that is tried.
  unsigned int skipped() {
    unsigned int count = 0;
    while (!sut.begin()) ++count;
    return count;
  }
  void waitInVain() { EXPECT_FALSE(wait(never, 10000)); }
  void waitWithSuccess() { EXPECT_TRUE(wait(1, 10000)); }
  void waitInACrowd() { EXPECT_FALSE(wait(never, 100001)); }

  FakeProcessor fake;
  BriefWait sut;
};

TEST_F(BriefWaits, AreTriedAtFirst) {
  EXPECT_TRUE(sut.begin());
}

TEST_F(BriefWaits, EndAsSoonAsWhatIsAwaitedHasCome) {
  ASSERT_TRUE(sut.begin());
  EXPECT_TRUE(wait(3, 1000));
  EXPECT_EQ(fake.yields, 3u);
}

TEST_F(BriefWaits, LookOnlyAfterAYield) {
  ASSERT_TRUE(sut.begin());
  EXPECT_TRUE(wait(0, 1000));
  EXPECT_EQ(fake.yields, 1u);
}

TEST_F(BriefWaits, EndAfter50MicrosecondsInVain) {
  ASSERT_TRUE(sut.begin());
  EXPECT_FALSE(wait(never, 1000));
  EXPECT_EQ(fake.yields, 50u);
}

TEST_F(BriefWaits, AreTriedEachTimeWhileTheyPay) {
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(skipped(), 0u);
    waitWithSuccess();
  }
}

TEST_F(BriefWaits, AreSkippedTwiceAsOftenAfterEachInVainUpTo64Times) {
  for (const unsigned int expected : {0u, 1u, 2u, 4u, 8u, 16u, 32u, 64u, 64u, 64u}) {
    EXPECT_EQ(skipped(), expected);
    waitInVain();
  }
}

TEST_F(BriefWaits, AreTriedEachTimeAgainAfterTheFirstThatPays) {
  for (int i = 0; i < 5; ++i) {
    skipped();
    waitInVain();
  }
  skipped();
  waitWithSuccess();
  EXPECT_EQ(skipped(), 0u);
  waitInVain();
  EXPECT_EQ(skipped(), 1u);
}

TEST_F(BriefWaits, EndAfterOneYieldThatSomebodyElseNeeded) {
  ASSERT_TRUE(sut.begin());
  EXPECT_FALSE(wait(never, 100001));
  EXPECT_EQ(fake.yields, 1u);
  EXPECT_EQ(skipped(), 256u);
  EXPECT_TRUE(wait(1, 100001)) << "what came meanwhile has come";
  EXPECT_EQ(skipped(), 4096u);
}

TEST_F(BriefWaits, AreSkippedSixteenTimesAsOftenAfterEachInACrowdUpTo65536Times) {
  skipped();
  waitInACrowd();
  for (unsigned int expected = 256; expected < 20000000; expected *= 16) {
    EXPECT_EQ(skipped(), std::min(expected, 65536u));
    waitInACrowd();
  }
}

TEST_F(BriefWaits, ForgetACrowdLittleByLittle) {
  skipped();
  waitInACrowd();
  skipped();
  waitInACrowd();
  EXPECT_EQ(skipped(), 4096u);
  for (int i = 0; i < 1000; ++i) {
    waitWithSuccess();
    EXPECT_EQ(skipped(), 0u);
  }
  waitInACrowd();
  EXPECT_EQ(skipped(), 16u * (4096 - 1000));
}

}  // namespace
}  // namespace velp::test
