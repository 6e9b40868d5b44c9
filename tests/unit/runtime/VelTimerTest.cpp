// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Ticks: when, where, how often and with which arguments.
#include "velp/runtime/VelTimer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Latch.h"
#include "tests/support/LogCapture.h"

using testing::ElementsAre;
using velp::test::Latch;
using velp::test::LogCapture;

namespace {

using Interval = unsigned long long;

unsigned long long monotonicMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 1000 +
         static_cast<unsigned long long>(now.tv_nsec) / 1000000;
}

// Proves that time passes for the timers: a timer of its own that has ticked often enough. Timers
// that were due before its first tick have run by then.
void awaitOtherTicks(unsigned int ticks) {
  Latch latch;
  VelTimer timer;
  ASSERT_NE(timer.registerTimer(
                [&latch](unsigned long long, unsigned short, Interval&) {
                  latch.arrive();
                  return VelTimer::TIMER_CONTINUE;
                },
                1, 0, true),
            0);
  ASSERT_TRUE(latch.waitFor(ticks));
}

// A timer that notes its ticks, answers as told, and may change its interval.
struct TickLog {
  struct Tick {
    unsigned long long due;
    unsigned short id;
    Interval interval;
    unsigned long long ranAt;
  };

  VelTimer::timerResult_t operator()(unsigned long long due, unsigned short id,
                                     Interval& interval) {
    ticks.push_back({due, id, interval, monotonicMilliseconds()});
    interval = ticks.size() == 1 ? secondInterval : interval;
    const auto result = ticks.size() < ticksWanted ? answer : VelTimer::TIMER_STOP;
    latch.arrive();
    return result;
  }
  VelTimer::Callback callback() {
    return [this](unsigned long long due, unsigned short id, Interval& interval) {
      return (*this)(due, id, interval);
    };
  }
  bool waitForAll() { return latch.waitFor(static_cast<unsigned int>(ticksWanted)); }

  std::size_t ticksWanted = 3;
  Interval secondInterval = 2;
  VelTimer::timerResult_t answer = VelTimer::TIMER_CONTINUE;
  std::vector<Tick> ticks;
  Latch latch;
  VelTimer timer;  // Last: gone before what its callback uses.
};

struct ThreadFacts {
  pthread_t thread;
  std::string name;
  bool blocksTerm;
};

ThreadFacts factsOfThisThread() {
  std::array<char, 16> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return {pthread_self(), name.data(), sigismember(&blocked, SIGTERM) == 1};
}

ThreadFacts factsOfACallback() {
  ThreadFacts facts{};
  Latch latch;
  VelTimer timer;
  EXPECT_NE(timer.registerTimer(
                [&](unsigned long long, unsigned short, Interval&) {
                  facts = factsOfThisThread();
                  latch.arrive();
                  return VelTimer::TIMER_STOP;
                },
                1, 0, false),
            0);
  EXPECT_TRUE(latch.waitFor());
  return facts;
}

VelTimer::timerResult_t throwing(unsigned long long, unsigned short, Interval&) {
  throw std::runtime_error("bad\ntick");
}

VelTimer::timerResult_t throwingNumber(unsigned long long, unsigned short, Interval&) {
  throw 5;
}

}  // namespace

TEST(VelTimer, CallbackGetsDueTimeIdAndInterval) {
  TickLog log;
  const unsigned long long before = monotonicMilliseconds();

  ASSERT_NE(log.timer.registerTimer(log.callback(), 5, 4711, true), 0);
  const unsigned long long after = monotonicMilliseconds();
  ASSERT_TRUE(log.waitForAll());

  EXPECT_GE(log.ticks[0].due, before + 5);
  EXPECT_LE(log.ticks[0].due, after + 5);
  EXPECT_EQ(log.ticks[0].id, 4711);
  EXPECT_EQ(log.ticks[0].interval, 5U);
}

TEST(VelTimer, NoTickComesBeforeItIsDue) {
  TickLog log;

  ASSERT_NE(log.timer.registerTimer(log.callback(), 7, 0, true), 0);
  ASSERT_TRUE(log.waitForAll());

  for (const auto& tick : log.ticks) EXPECT_GE(tick.ranAt, tick.due);
}

TEST(VelTimer, PeriodicTimerGoesOnUntilItsCallbackAnswers0) {
  TickLog log;
  log.ticksWanted = 5;

  ASSERT_NE(log.timer.registerTimer(log.callback(), 2, 0, true), 0);
  ASSERT_TRUE(log.waitForAll());
  awaitOtherTicks(10);

  EXPECT_EQ(log.latch.count(), 5U);
}

TEST(VelTimer, AnyAnswerBut0And1GoesOnToo) {
  TickLog log;
  log.answer = static_cast<VelTimer::timerResult_t>(7);

  ASSERT_NE(log.timer.registerTimer(log.callback(), 2, 0, true), 0);

  EXPECT_TRUE(log.waitForAll());
}

TEST(VelTimer, TimerThatIsNotPeriodicTicksOnce) {
  TickLog log;

  ASSERT_NE(log.timer.registerTimer(log.callback(), 1, 0, false), 0);
  ASSERT_TRUE(log.latch.waitFor());
  awaitOtherTicks(10);

  EXPECT_EQ(log.latch.count(), 1U);
}

TEST(VelTimer, CallbackMayChangeTheIntervalForTheTicksToCome) {
  TickLog log;
  log.secondInterval = 30;

  ASSERT_NE(log.timer.registerTimer(log.callback(), 1, 0, true), 0);
  ASSERT_TRUE(log.waitForAll());

  EXPECT_EQ(log.ticks[1].interval, 30U);
  EXPECT_EQ(log.ticks[2].interval, 30U);
  EXPECT_GE(log.ticks[1].due - log.ticks[0].due, 30U);
  EXPECT_EQ((log.ticks[1].due - log.ticks[0].due) % 30, 0U);
  EXPECT_EQ((log.ticks[2].due - log.ticks[1].due) % 30, 0U);
}

TEST(VelTimer, Interval0FromTheCallbackLeavesItAsItWas) {
  TickLog log;
  log.secondInterval = 0;

  ASSERT_NE(log.timer.registerTimer(log.callback(), 3, 0, true), 0);
  ASSERT_TRUE(log.waitForAll());

  EXPECT_EQ(log.ticks[1].interval, 3U);
}

TEST(VelTimer, LateTicksAreNotMadeUpForInABurst) {
  std::vector<unsigned long long> dues;
  unsigned long long blockedUntil = 0;
  Latch latch;
  VelTimer timer;

  ASSERT_NE(timer.registerTimer(
                [&](unsigned long long due, unsigned short, Interval&) {
                  dues.push_back(due);
                  if (dues.size() == 1) {
                    while (monotonicMilliseconds() < due + 40) std::this_thread::yield();
                    blockedUntil = monotonicMilliseconds();
                  }
                  latch.arrive();
                  return dues.size() < 2 ? VelTimer::TIMER_CONTINUE : VelTimer::TIMER_STOP;
                },
                4, 0, true),
            0);
  ASSERT_TRUE(latch.waitFor(2));

  EXPECT_GT(dues[1], blockedUntil);
  EXPECT_EQ((dues[1] - dues[0]) % 4, 0U);
}

TEST(VelTimer, RefusesInterval0AndAnEmptyCallback) {
  TickLog log;

  EXPECT_EQ(log.timer.registerTimer(log.callback(), 0, 0, true), 0);
  EXPECT_EQ(log.timer.registerTimer(VelTimer::Callback(), 1, 0, true), 0);
}

TEST(VelTimer, AllCallbacksRunOnOneThreadNamedVelpTimerThatBlocksSignals) {
  const ThreadFacts first = factsOfACallback();
  const ThreadFacts second = factsOfACallback();

  EXPECT_EQ(first.name, "velp-timer");
  EXPECT_TRUE(first.blocksTerm);
  EXPECT_TRUE(pthread_equal(first.thread, second.thread));
  EXPECT_FALSE(pthread_equal(first.thread, pthread_self()));
}

TEST(VelTimer, EarlierTimerComesFirstWhateverTheOrderOfRegistration) {
  std::vector<int> order;
  Latch latch;
  VelTimer timer;
  const auto noting = [&](int number) {
    return [&, number](unsigned long long, unsigned short, Interval&) {
      order.push_back(number);
      latch.arrive();
      return VelTimer::TIMER_STOP;
    };
  };

  ASSERT_NE(timer.registerTimer(noting(2), 200, 0, false), 0);
  ASSERT_NE(timer.registerTimer(noting(1), 1, 0, false), 0);
  ASSERT_TRUE(latch.waitFor(2));

  EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(VelTimer, ExceptionEndsItsTimerOnlyAndIsLogged) {
  LogCapture capture;
  VelTimer timer;

  ASSERT_NE(timer.registerTimer(throwing, 1, 50, true), 0);
  ASSERT_TRUE(capture.waitForLine(
      "[ERROR] VelTimer::runCallback() timer ended, callback threw, id=50: bad\\x0atick"));
  awaitOtherTicks(10);

  EXPECT_EQ(capture.lines().size(), 1U);
}

TEST(VelTimer, ExceptionOfAnyTypeEndsItsTimerOnly) {
  LogCapture capture;
  VelTimer timer;

  ASSERT_NE(timer.registerTimer(throwingNumber, 1, 51, true), 0);
  ASSERT_TRUE(capture.waitForLine(
      "[ERROR] VelTimer::runCallback() timer ended, callback threw, id=51: not a "
      "std::exception"));
  awaitOtherTicks(10);

  EXPECT_EQ(capture.lines().size(), 1U);
}
