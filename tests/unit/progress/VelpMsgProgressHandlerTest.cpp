// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the progress handler sends, and what it answers to each call in each state.
#include "velpmsg/VelpMsgProgressHandler.h"

#include <type_traits>

#include "ProgressFixture.h"

namespace velp::test {
namespace {

using testing::ElementsAreArray;

static_assert(!std::is_polymorphic_v<VelpMsgProgressHandler>);
static_assert(!std::is_copy_constructible_v<VelpMsgProgressHandler>);
static_assert(!std::is_copy_assignable_v<VelpMsgProgressHandler>);

using Progress = ProgressFixture;

TEST(ProgressInfo, IsTheTableOfStepTexts) {
  EXPECT_EQ(sizeof VelpMsgProgressHandler::info / sizeof VelpMsgProgressHandler::info[0], 34u);
  EXPECT_THAT(VelpMsgProgressHandler::info, ElementsAreArray(stepTexts));
  EXPECT_STREQ(VelpMsgProgressHandler::info[0], texts::steps[0]);
  EXPECT_STREQ(VelpMsgProgressHandler::info[33], texts::steps[33]);
}

TEST(ProgressInfo, IsNoSecondTable) {
  EXPECT_EQ(&VelpMsgProgressHandler::info[0], &stepTexts[0]);
}

TEST_F(Progress, StartSendsTheFirstResponseAtOnce) {
  EXPECT_EQ(sut.start("Requester", eventList, 0, 90, 13, never), 0);

  EXPECT_EQ(received(), stepResponse(eventList, 0, 13));
  expectNothingReceived();
}

TEST_F(Progress, TimerTicksGoOnInStepsOfFiveToTheCeilingAndStayThere) {
  EXPECT_EQ(sut.start("Requester", eventList, 0, 90, 4, 1), 0);

  for (unsigned char percent = 0; percent < 90; percent = static_cast<unsigned char>(percent + 5)) {
    EXPECT_EQ(received(), stepResponse(eventList, percent, 4));
  }
  for (int i = 0; i < 5; ++i) EXPECT_EQ(received(), stepResponse(eventList, 90, 4));
}

TEST_F(Progress, TickAnswersThatTheTimerGoesOnAndIgnoresItsArguments) {
  started();

  EXPECT_EQ(tick(), VelTimer::TIMER_CONTINUE);
  EXPECT_EQ(static_cast<unsigned int>(tick()), 1u);

  EXPECT_EQ(period, 3u);
  EXPECT_EQ(received(), stepResponse(eventList, 15, 4));
  EXPECT_EQ(received(), stepResponse(eventList, 20, 4));
}

TEST_F(Progress, TickNeverPassesACeilingBetweenTwoSteps) {
  EXPECT_EQ(sut.start("Requester", eventList, 85, 92, 4, never), 0);
  tick();
  tick();

  expectSteps({85, 90, 90}, 4);
}

TEST_F(Progress, TickReachesACeilingFiveAwayAndNotOneFourAway) {
  EXPECT_EQ(sut.start("Requester", eventList, 85, 90, 4, never), 0);
  tick();
  EXPECT_EQ(sut.update(86, 90, 4), 0);
  tick();

  expectSteps({85, 90, 86, 86}, 4);
}

TEST_F(Progress, TickLeavesAValueAtOrAboveTheCeilingAlone) {
  EXPECT_EQ(sut.start("Requester", eventList, 90, 90, 4, never), 0);
  tick();
  EXPECT_EQ(sut.update(95, 90, 4), 0);
  tick();
  tick();

  expectSteps({90, 90, 95, 95, 95}, 4);
}

TEST_F(Progress, TickAtTheTopOfAByteNeitherWrapsNorPassesIt) {
  EXPECT_EQ(sut.start("Requester", eventList, 250, 255, 4, never), 0);
  tick();
  tick();
  EXPECT_EQ(sut.update(252, 255, 4), 0);
  tick();

  expectSteps({250, 255, 255, 252, 252}, 4);
}

TEST_F(Progress, TickUnderACeilingOfZeroStaysWhereItIs) {
  EXPECT_EQ(sut.start("Requester", eventList, 0, 0, 4, never), 0);
  tick();

  EXPECT_EQ(received(), stepResponse(eventList, 0, 4));
  EXPECT_EQ(received(), stepResponse(eventList, 0, 4));
}

TEST_F(Progress, UpdateSendsItsValueAndStepAndTicksGoOnFromThere) {
  started();

  EXPECT_EQ(sut.update(50, 60, 16), 0);
  for (int i = 0; i < 3; ++i) tick();

  expectSteps({50, 55, 60, 60}, 16);
  expectNothingReceived();
}

TEST_F(Progress, UpdateMayGoBackAndRaiseTheCeiling) {
  EXPECT_EQ(sut.start("Requester", eventList, 50, 50, 4, never), 0);

  EXPECT_EQ(sut.update(20, 100, 5), 0);
  tick();

  EXPECT_EQ(received(), stepResponse(eventList, 50, 4));
  EXPECT_EQ(received(), stepResponse(eventList, 20, 5));
  EXPECT_EQ(received(), stepResponse(eventList, 25, 5));
}

TEST_F(Progress, UpdateWithATextSendsItAndKeepsValueAndCeiling) {
  started();

  EXPECT_EQ(sut.update(50, 57, "Halfway"), 0);
  tick();
  tick();

  EXPECT_EQ(received(), textResponse(eventList, 50, "Halfway"));
  EXPECT_EQ(received(), stepResponse(eventList, 55, 4));
  EXPECT_EQ(received(), stepResponse(eventList, 55, 4));
}

TEST_F(Progress, UpdateInfoSendsTheStepAtTheSamePercentage) {
  started();

  EXPECT_EQ(sut.updateInfo(17), 0);
  tick();

  EXPECT_EQ(received(), stepResponse(eventList, 10, 17));
  EXPECT_EQ(received(), stepResponse(eventList, 15, 17));
  expectNothingReceived();
}

TEST_F(Progress, UpdateInfoWithATextStoresNothing) {
  started();

  EXPECT_EQ(sut.updateInfo("Nearly there"), 0);
  tick();

  EXPECT_EQ(received(), textResponse(eventList, 10, "Nearly there"));
  EXPECT_EQ(received(), stepResponse(eventList, 15, 4));
  expectNothingReceived();
}

TEST_F(Progress, EveryIndexOfTheTableIsSentWithItsTextAndLargerOnesUnchangedWithout) {
  started();

  for (unsigned short index = 0; index < 34; ++index) {
    EXPECT_EQ(sut.updateInfo(index), 0);
    EXPECT_EQ(received(), stepResponse(eventList, 10, index));
  }
  for (const unsigned short index : std::vector<unsigned short>{34, 255, 65535}) {
    EXPECT_EQ(sut.updateInfo(index), 0);
    const auto high = static_cast<unsigned char>(index >> 8);
    EXPECT_EQ(received().getPayload(), (Bytes{10, 0, high, static_cast<unsigned char>(index)}));
  }
}

TEST_F(Progress, InactiveRefusesUpdatesAndSendsNothing) {
  EXPECT_EQ(sut.update(50, 90, 4), -1);
  EXPECT_EQ(sut.update(50, 90, "text"), -1);
  EXPECT_EQ(sut.updateInfo(4), -1);
  EXPECT_EQ(sut.updateInfo("text"), -1);

  expectNothingReceived();
}

TEST_F(Progress, StoppedRefusesUpdatesAndSendsNothing) {
  started();
  sut.stop();

  EXPECT_EQ(sut.update(50, 90, 4), -1);
  EXPECT_EQ(sut.update(50, 90, "text"), -1);
  EXPECT_EQ(sut.updateInfo(4), -1);
  EXPECT_EQ(sut.updateInfo("text"), -1);

  expectNothingReceived();
}

TEST_F(Progress, SecondStartIsRefusedAndTheFirstRequestGoesOn) {
  Peer other("Other");
  started();

  EXPECT_EQ(sut.start("Other", removeData, 70, 80, 9, 1), -1);
  tick();

  EXPECT_EQ(received(), stepResponse(eventList, 15, 4));
  EXPECT_TRUE(VelpMsgSender::getInstance()->sendMsg("Other", SystemMessage("end", 1)));
  EXPECT_NO_THROW(other.next<SystemMessage>());
}

TEST_F(Progress, StopEndsTheTicks) {
  EXPECT_EQ(start(1), 0);
  EXPECT_EQ(received(), stepResponse(eventList, 10, 4));
  EXPECT_EQ(received(), stepResponse(eventList, 15, 4));

  sut.stop();
  drain();
  awaitOtherTicks(10);
  expectNothingReceived();
}

TEST_F(Progress, StopSendsNothing) {
  started();

  sut.stop();

  expectNothingReceived();
}

TEST_F(Progress, StopWithoutAStartIsHarmless) {
  sut.stop();
  sut.stop();

  EXPECT_EQ(start(), 0);
}

TEST_F(Progress, CanBeStartedAgainForAnotherRequest) {
  started();
  EXPECT_EQ(sut.update(80, 85, 9), 0);
  received();
  sut.stop();

  EXPECT_EQ(sut.start("Requester", removeData, 0, 5, 1, never), 0);
  tick();
  tick();

  EXPECT_EQ(received(), stepResponse(removeData, 0, 1));
  EXPECT_EQ(received(), stepResponse(removeData, 5, 1));
  EXPECT_EQ(received(), stepResponse(removeData, 5, 1));
}

TEST_F(Progress, EndsItsTicksWhenDestroyed) {
  {
    VelpMsgProgressHandler running;
    EXPECT_EQ(running.start("Requester", eventList, 0, 90, 4, 1), 0);
    EXPECT_EQ(received(), stepResponse(eventList, 0, 4));
    EXPECT_EQ(received(), stepResponse(eventList, 5, 4));
  }
  drain();
  awaitOtherTicks(10);

  expectNothingReceived();
}

}  // namespace
}  // namespace velp::test
