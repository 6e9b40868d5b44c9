// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The progress handler's log lines, each with the trace level it needs.
#include "ProgressFixture.h"

namespace velp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProgressLog : public ProgressFixture {
 protected:
  // What `call` writes at trace level `level`.
  template <typename Call>
  std::vector<std::string> linesOf(std::uint32_t level, Call call) {
    sut.traceLevel = level;
    capture.clear();
    call();
    sut.traceLevel = 0;
    return capture.lines();
  }
  // The same, of a call that needs a running request.
  template <typename Call>
  std::vector<std::string> linesWhenActive(std::uint32_t level, Call call) {
    sut.stop();
    EXPECT_EQ(start(), 0);
    return linesOf(level, call);
  }
};

TEST_F(ProgressLog, OfANewHandlerIsOff) {
  EXPECT_EQ(sut.traceLevel, 0u);
}

TEST_F(ProgressLog, StartWritesItsEntryLineOnceAtLevelOneAndTwiceFromLevelTwo) {
  const std::string line = texts::progressStart;
  const auto call = [this] {
    sut.stop();
    start();
  };

  EXPECT_THAT(linesOf(0, call), IsEmpty());
  EXPECT_THAT(linesOf(1, call), ElementsAre(line));
  EXPECT_THAT(linesOf(2, call), ElementsAre(texts::progressStop, line, line));
  EXPECT_THAT(linesOf(3, call), ElementsAre(texts::progressStop, line, line));
}

TEST_F(ProgressLog, StartOfAnActiveHandlerWritesAnErrorAtEveryLevel) {
  const std::string error = texts::stillActive;
  const auto call = [this] { EXPECT_EQ(start(), -1); };

  EXPECT_THAT(linesWhenActive(0, call), ElementsAre(error));
  EXPECT_THAT(linesWhenActive(1, call), ElementsAre(error));
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(texts::progressStart, error));
}

TEST_F(ProgressLog, TickWritesOneLineFromLevelOneAndNoEntryLine) {
  const std::string line =
      filled(texts::progressTick, "Requester", "getEventList(50)", 15, texts::steps[4]);
  const auto call = [this] { tick(); };

  EXPECT_THAT(linesWhenActive(0, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(1, call), ElementsAre(line));
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(line));
}

TEST_F(ProgressLog, UpdateWritesTargetAndStepFromLevelOne) {
  const std::string line = filled(texts::updateSent, "Requester", texts::steps[17]);
  const auto call = [this] { EXPECT_EQ(sut.update(50, 90, 17), 0); };

  EXPECT_THAT(linesWhenActive(0, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(1, call), ElementsAre(line));
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(texts::progressUpdate, line));
}

TEST_F(ProgressLog, UpdateWithATextWritesItFromLevelOne) {
  const std::string line = filled(texts::updateSent, "Requester", "Halfway");
  const auto call = [this] { EXPECT_EQ(sut.update(50, 90, "Halfway"), 0); };

  EXPECT_THAT(linesWhenActive(0, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(1, call), ElementsAre(line));
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(texts::progressUpdate, line));
}

TEST_F(ProgressLog, UpdateInfoWritesTargetAndStepFromLevelOne) {
  const std::string line = filled(texts::infoSent, "Requester", texts::steps[0]);
  const auto call = [this] { EXPECT_EQ(sut.updateInfo(0), 0); };

  EXPECT_THAT(linesWhenActive(0, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(1, call), ElementsAre(line));
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(texts::progressInfo, line));
}

TEST_F(ProgressLog, UpdateInfoWithATextWritesItFromLevelOne) {
  const std::string line = filled(texts::infoSent, "Requester", "Nearly there");
  const auto call = [this] { EXPECT_EQ(sut.updateInfo("Nearly there"), 0); };

  EXPECT_THAT(linesWhenActive(0, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(1, call), ElementsAre(line));
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(texts::progressInfo, line));
}

TEST_F(ProgressLog, UpdatesOfAnInactiveHandlerWriteAnErrorAtEveryLevel) {
  const std::string update = texts::updateNotActive;
  const std::string updateInfo = texts::infoNotActive;
  const auto steps = [this] { EXPECT_EQ(sut.update(5, 9, 4) + sut.updateInfo(4), -2); };
  const auto texts = [this] { EXPECT_EQ(sut.update(5, 9, "text") + sut.updateInfo("text"), -2); };

  for (const std::uint32_t level : {0u, 1u}) {
    EXPECT_THAT(linesOf(level, steps), testing::UnorderedElementsAre(update, updateInfo));
    EXPECT_THAT(linesOf(level, texts), testing::UnorderedElementsAre(update, updateInfo));
  }
}

TEST_F(ProgressLog, UpdatesOfAnInactiveHandlerWriteTheirEntryLineFirstFromLevelTwo) {
  const auto update = ElementsAre(texts::progressUpdate, texts::updateNotActive);
  const auto updateInfo = ElementsAre(texts::progressInfo, texts::infoNotActive);

  EXPECT_THAT(linesOf(2, [this] { sut.update(5, 9, 4); }), update);
  EXPECT_THAT(linesOf(2, [this] { sut.update(5, 9, "text"); }), update);
  EXPECT_THAT(linesOf(2, [this] { sut.updateInfo(4); }), updateInfo);
  EXPECT_THAT(linesOf(2, [this] { sut.updateInfo("text"); }), updateInfo);
}

TEST_F(ProgressLog, StopWritesItsEntryLineFromLevelTwo) {
  const auto call = [this] { sut.stop(); };

  EXPECT_THAT(linesWhenActive(0, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(1, call), IsEmpty());
  EXPECT_THAT(linesWhenActive(2, call), ElementsAre(texts::progressStop));
  EXPECT_THAT(linesOf(2, call), ElementsAre(texts::progressStop));
}

TEST_F(ProgressLog, ShowsTheLastStepOfTheTableAndAnEmptyTextBehindIt) {
  const auto last = linesWhenActive(1, [this] { sut.updateInfo(33); });
  const auto behind = linesWhenActive(1, [this] { sut.updateInfo(34); });
  const auto far = linesWhenActive(1, [this] { sut.update(5, 9, 65535); });
  const auto ticks = linesWhenActive(1, [this] {
    sut.updateInfo(34);
    tick();
  });

  const std::string begin = filled(texts::infoSent, "Requester", "");
  EXPECT_THAT(last, ElementsAre(begin + texts::steps[33]));
  EXPECT_THAT(behind, ElementsAre(begin));
  EXPECT_THAT(far, ElementsAre(filled(texts::updateSent, "Requester", "")));
  EXPECT_THAT(ticks, ElementsAre(begin, filled(texts::progressTick, "Requester", "getEventList(50)",
                                               15, "")));
}

TEST_F(ProgressLog, TickShowsThePercentageAsANumber) {
  const auto lines = linesWhenActive(1, [this] {
    EXPECT_EQ(sut.update(65, 255, "A"), 0);
    tick();
  });

  EXPECT_THAT(lines, ElementsAre(filled(texts::updateSent, "Requester", "A"),
                                 filled(texts::progressTick, "Requester", "getEventList(50)", 70,
                                        texts::steps[4])));
}

TEST_F(ProgressLog, DestructionWritesNothingAtAnyLevel) {
  {
    VelpMsgProgressHandler active;
    EXPECT_EQ(active.start("Requester", eventList, 0, 90, 4, never), 0);
    active.traceLevel = 2;
    VelpMsgProgressHandler inactive;
    inactive.traceLevel = 2;
  }

  EXPECT_THAT(capture.lines(), IsEmpty());
}

}  // namespace
}  // namespace velp::test
