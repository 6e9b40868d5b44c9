// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Stopping and destroying progress handlers while a tick runs, and what ticks do to other timers.
#include <chrono>
#include <future>

#include "HookedProgress.h"

namespace velp::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

using ProgressEnd = HookedProgress;
using ProgressEndQuirk = HookedProgress;

// A timer of somebody else's that ticks every millisecond.
class OtherTimer {
 public:
  OtherTimer() {
    const auto arrive = [this](unsigned long long, unsigned short, unsigned long long&) {
      ticks.arrive();
      return VelTimer::TIMER_CONTINUE;
    };
    EXPECT_NE(registerForReal(timer, {arrive, 1, 0, true}), 0);
  }
  bool goesOn() const { return ticks.waitFor(ticks.count() + 3); }

 private:
  Latch ticks;
  VelTimer timer;
};

TEST_F(ProgressEnd, WaitsForATickThatHasBegunAndLetsItSeeEverything) {
  holdTicks();
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  auto end = std::async(std::launch::async, [this] {
    sut.reset();
    return ended.count();
  });
  EXPECT_EQ(end.wait_for(milliseconds(20)), std::future_status::timeout);
  released.arrive();

  EXPECT_EQ(end.get(), 1u);
  EXPECT_EQ(begun.count(), 1u);
  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10", "RequesterOfALongName 50 15"));
}

TEST_F(ProgressEnd, WaitsForATickThatSends) {
  timerHooks().sendTo = [this](const std::string& target, const MessageBase& message) {
    sent.add(target, message);
    if (sent.all().size() < 2) return true;
    begun.arrive();
    EXPECT_TRUE(released.waitFor());
    ended.arrive();
    return true;
  };
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  auto end = std::async(std::launch::async, [this] {
    sut.reset();
    return ended.count();
  });
  EXPECT_EQ(end.wait_for(milliseconds(20)), std::future_status::timeout);
  released.arrive();

  EXPECT_EQ(end.get(), 1u);
}

TEST_F(ProgressEnd, WaitsForATickThatStopDidNotCatch) {
  holdTicks();
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());
  sut->stop();

  auto end = std::async(std::launch::async, [this] {
    sut.reset();
    return ended.count();
  });
  EXPECT_EQ(end.wait_for(milliseconds(20)), std::future_status::timeout);
  released.arrive();

  EXPECT_EQ(end.get(), 1u);
}

TEST_F(ProgressEnd, MayComeFromAnotherTimersCallback) {
  Latch gone;
  VelTimer other;
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(sent.waitFor(3));

  ASSERT_NE(other.registerTimer(
                [&](unsigned long long, unsigned short, unsigned long long&) {
                  sut.reset();
                  gone.arrive();
                  return VelTimer::TIMER_STOP;
                },
                1, 0, true),
            0);

  EXPECT_TRUE(gone.waitFor());
}

TEST_F(ProgressEnd, OfOneHandlerLeavesTheTicksOfAnotherAlone) {
  VelpMsgProgressHandler other;
  EXPECT_EQ(start(1), 0);
  EXPECT_EQ(other.start("Other", removeData, 0, 90, 4, 1), 0);

  sut.reset();
  const auto before = static_cast<unsigned int>(sent.all().size());

  EXPECT_TRUE(sent.waitFor(before + 3));
  EXPECT_EQ(sent.all().back().substr(0, 7), "Other 3");
}

TEST_F(ProgressEnd, StopReturnsWhileATickHasBegun) {
  holdTicks();
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  sut->stop();
  EXPECT_EQ(ended.count(), 0u);

  released.arrive();
  EXPECT_TRUE(ended.waitFor());
  EXPECT_TRUE(OtherTimer().goesOn());
  EXPECT_EQ(begun.count(), 1u);
}

TEST_F(ProgressEnd, OperationsWorkFromTheTimersThread) {
  Latch done;
  VelTimer other;
  EXPECT_EQ(start(1), 0);

  ASSERT_NE(other.registerTimer(
                [&](unsigned long long, unsigned short, unsigned long long&) {
                  EXPECT_EQ(sut->update(20, 90, "text"), 0);
                  EXPECT_EQ(sut->updateInfo(4), 0);
                  sut->stop();
                  EXPECT_EQ(start(1), 0);
                  done.arrive();
                  return VelTimer::TIMER_STOP;
                },
                1, 0, true),
            0);

  EXPECT_TRUE(done.waitFor());
}

TEST_F(ProgressEndQuirk, TickThatStopDidNotCatchReachesNobody) {
  holdTicks();
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  sut->stop();
  released.arrive();
  ASSERT_TRUE(ended.waitFor());

  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10", " 0 5"));
}

TEST_F(ProgressEndQuirk, TickThatStopDidNotCatchCountsForTheNextRequest) {
  holdTicks();
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  sut->stop();
  EXPECT_EQ(sut->start("Other", removeData, 0, 90, 4, never), 0);
  released.arrive();
  ASSERT_TRUE(ended.waitFor());

  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10", "Other 3 0", "Other 3 5"));
}

TEST_F(ProgressEnd, TickBlockedInASendDelaysOtherTimersOnlyMeanwhile) {
  timerHooks().sendTo = [this](const std::string& target, const MessageBase& message) {
    sent.add(target, message);
    if (sent.all().size() != 2) return true;
    begun.arrive();
    return released.waitFor();
  };
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  const OtherTimer other;
  released.arrive();

  EXPECT_TRUE(other.goesOn());
  EXPECT_TRUE(sent.waitFor(5));
}

TEST_F(ProgressEnd, TickThatWaitsForASlowUpdateDelaysOtherTimersOnlyMeanwhile) {
  Latch sending;
  Latch mayGoOn;
  holdTicks();
  timerHooks().sendTo = [&](const std::string& target, const MessageBase& message) {
    sent.add(target, message);
    if (sent.all().back() != "RequesterOfALongName 50 77") return true;
    sending.arrive();
    return mayGoOn.waitFor();
  };
  EXPECT_EQ(start(1), 0);
  ASSERT_TRUE(begun.waitFor());

  auto slow = std::async(std::launch::async, [this] { return sut->update(77, 90, "text"); });
  ASSERT_TRUE(sending.waitFor());
  released.arrive();
  const OtherTimer other;
  EXPECT_EQ(ended.count(), 0u);
  mayGoOn.arrive();

  EXPECT_EQ(slow.get(), 0);
  EXPECT_TRUE(other.goesOn());
  EXPECT_TRUE(ended.waitFor(2));
  sut.reset();
}

}  // namespace
}  // namespace velp::test
