// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Due times, handles and the start of the timer service.
#include "framework/runtime/TimerService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>
#include <set>

#include "PosixFailures.h"
#include "tests/support/LogCapture.h"

using testing::ElementsAre;
using velp::nextDue;
using velp::TimerService;
using velp::test::beforeNext;
using velp::test::FailingCall;
using velp::test::LogCapture;
using velp::test::PosixCall;

namespace {

constexpr unsigned long long latest = std::numeric_limits<unsigned long long>::max();
constexpr unsigned long long never = latest;
constexpr unsigned int allHandles = 65535;

VelTimer::timerResult_t nothing(unsigned long long, unsigned short, unsigned long long&) {
  return VelTimer::TIMER_CONTINUE;
}

unsigned short registerIdle(VelTimer& timer) {
  return timer.registerTimer(nothing, never, 0, true);
}

}  // namespace

TEST(NextDue, IsOneIntervalLaterWhenInTime) {
  EXPECT_EQ(nextDue(100, 10, 100), 110U);
  EXPECT_EQ(nextDue(100, 10, 109), 110U);
}

TEST(NextDue, SkipsTicksThatWereMissed) {
  EXPECT_EQ(nextDue(100, 10, 110), 120U);
  EXPECT_EQ(nextDue(100, 10, 119), 120U);
  EXPECT_EQ(nextDue(100, 10, 155), 160U);
}

TEST(NextDue, DoesNotOverflow) {
  EXPECT_EQ(nextDue(100, latest, 100), latest);
  EXPECT_EQ(nextDue(100, latest - 100, 100), latest);
  EXPECT_EQ(nextDue(100, latest - 101, 100), latest - 1);
}

TEST(TimerService, RefusesTimersWhileTheThreadCannotStart) {
  TimerService sut;
  const TimerService::Owner owner = std::make_shared<char>();
  LogCapture capture;
  const FailingCall failing(PosixCall::threadCreate, EAGAIN);

  EXPECT_EQ(sut.add(owner, nothing, 1, 1, true), 0);
  EXPECT_EQ(sut.add(owner, nothing, 1, 1, true), 0);

  const char* line = "[ERROR] VelTimer::registerTimer() cannot start the timer thread, error 11";
  EXPECT_THAT(capture.lines(), ElementsAre(line, line));
  sut.cancelAll(owner);
}

TEST(TimerService, IsOnePerProcess) {
  EXPECT_EQ(&TimerService::get(), &TimerService::get());
}

TEST(TimerHandles, AreNeverNullNorSharedAndRunOutAfter65535) {
  VelTimer timer;
  std::set<unsigned short> handles;

  for (unsigned int i = 0; i < allHandles; ++i) handles.insert(registerIdle(timer));

  EXPECT_EQ(handles.size(), allHandles);
  EXPECT_EQ(handles.count(0), 0U);
  EXPECT_EQ(registerIdle(timer), 0);
}

TEST(TimerHandles, ThatWereCancelledServeAgain) {
  VelTimer timer;
  for (unsigned int i = 0; i < allHandles; ++i) ASSERT_NE(registerIdle(timer), 0);
  ASSERT_EQ(registerIdle(timer), 0);

  timer.cancelTimer(4711);

  EXPECT_EQ(registerIdle(timer), 4711);
}

TEST(TimerHandles, WrapRoundAndSkipLiveOnes) {
  VelTimer timer;
  const unsigned short kept = registerIdle(timer);
  unsigned short previous = kept;

  for (unsigned int i = 0; i < 2 * allHandles; ++i) {
    const unsigned short handle = registerIdle(timer);
    ASSERT_NE(handle, 0);
    ASSERT_NE(handle, kept);
    ASSERT_NE(handle, previous);
    previous = handle;
    timer.cancelTimer(handle);
  }
}

TEST(TimerHandles, AreFreedWithTheirVelTimer) {
  {
    VelTimer first;
    for (unsigned int i = 0; i < allHandles; ++i) ASSERT_NE(registerIdle(first), 0);
  }
  VelTimer second;

  EXPECT_NE(registerIdle(second), 0);
}

TEST(TimerServiceDeathTest, IsOneWhenTwoThreadsMakeIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        // The second comes when the first has seen that there is none, and is done before it.
        TimerService* second = nullptr;
        beforeNext(PosixCall::condInit, [&second] { second = &TimerService::get(); });
        const TimerService* const first = &TimerService::get();
        std::exit(first == second ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
