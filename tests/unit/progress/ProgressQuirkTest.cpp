// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What looks like a mistake in the progress handler and is kept: see docs/quirks.md.
#include "ProgressFixture.h"
#include "velp/runtime/MutexLocker.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

// A handler of a service that clears by itself.
class Clearing : public VelpMsgProgressHandler {
 public:
  void clearOnly() {
    MutexLocker locker(mutex);
    clear();
  }
};

using ProgressQuirk = ProgressFixture;

// The line of a tick in the cleared state.
std::string clearedTick(unsigned int percent) {
  return filled(texts::progressTick, "", "unknown(0)", percent, texts::steps[0]);
}

TEST_F(ProgressQuirk, StartWritesItsEntryLineTwice) {
  sut.traceLevel = 2;

  EXPECT_EQ(start(), 0);

  EXPECT_THAT(capture.lines(), ElementsAre(texts::progressStart, texts::progressStart));
}

TEST_F(ProgressQuirk, OperationsSucceedAlsoWhenNobodyReceives) {
  EXPECT_EQ(sut.start("Nobody", eventList, 0, 90, 4, never), 0);
  EXPECT_EQ(sut.update(50, 90, 4), 0);
  EXPECT_EQ(sut.update(50, 90, "text"), 0);
  EXPECT_EQ(sut.updateInfo(4), 0);
  EXPECT_EQ(sut.updateInfo("text"), 0);
  EXPECT_EQ(tick(), VelTimer::TIMER_CONTINUE);

  EXPECT_EQ(capture.text(), "");
}

TEST_F(ProgressQuirk, StartWithIntervalZeroSucceedsAndNeverTicks) {
  started(0);

  awaitOtherTicks(10);

  expectNothingReceived();
  EXPECT_EQ(sut.updateInfo(5), 0);
  EXPECT_EQ(received(), stepResponse(eventList, 10, 5));
}

TEST_F(ProgressQuirk, TextOfAnUpdateIsForgottenAtTheNextTick) {
  started();

  EXPECT_EQ(sut.update(50, 90, "Halfway"), 0);
  tick();

  EXPECT_EQ(received(), textResponse(eventList, 50, "Halfway"));
  EXPECT_EQ(received(), stepResponse(eventList, 55, 4));
}

TEST_F(ProgressQuirk, TickAfterTheStopReachesNobody) {
  started();
  sut.stop();
  sut.traceLevel = 1;

  EXPECT_EQ(tick(), VelTimer::TIMER_CONTINUE);

  EXPECT_THAT(capture.lines(), testing::ElementsAre(clearedTick(5)));
  expectNothingReceived();
}

TEST_F(ProgressQuirk, ClearedCeilingIsNinety) {
  sut.traceLevel = 1;

  for (int i = 0; i < 30; ++i) tick();

  EXPECT_EQ(capture.count(clearedTick(90)), 13u);
  EXPECT_EQ(capture.count(clearedTick(85)), 1u);
  EXPECT_EQ(capture.count(clearedTick(95)), 0u);
}

TEST_F(ProgressQuirk, StopLeavesTheCeilingAtNinetyToo) {
  EXPECT_EQ(sut.start("Requester", eventList, 0, 40, 4, never), 0);
  sut.stop();
  sut.traceLevel = 1;

  for (int i = 0; i < 30; ++i) tick();

  EXPECT_EQ(capture.count(clearedTick(90)), 13u);
}

TEST_F(ProgressQuirk, ClearForgetsATimerThatTicksOn) {
  Clearing handler;
  EXPECT_EQ(handler.start("Requester", eventList, 0, 90, 4, 1), 0);
  handler.clearOnly();
  handler.stop();
  handler.traceLevel = 1;

  EXPECT_TRUE(capture.waitForLine(clearedTick(90), 3));

  EXPECT_EQ(handler.updateInfo(4), -1);
  drain();
  expectNothingReceived();
}

}  // namespace
}  // namespace velp::test
