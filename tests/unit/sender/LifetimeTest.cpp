// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How the sender begins and ends. Each case runs in a process of its own, which has made no sender.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

#include "Hooks.h"
#include "support/fixedTexts.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

class SenderLife : public testing::Test {
 protected:
  SenderLife() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // Log lines, and the sender's registrations with the bus, to where the test sees them.
  static void showStory() {
    std::cout.rdbuf(std::cerr.rdbuf());
    hooks().beforeRegistration = [](const char* operation) { std::cerr << operation << '\n'; };
  }
  [[noreturn]] static void endWithTraceLevel(std::uint32_t level) {
    showStory();
    VelpMsgSender::getInstance()->traceLevel = level;
    std::exit(0);
  }
};

TEST_F(SenderLife, EndsAtExitWithALineBeforeAndAfterItLeavesTheBus) {
  EXPECT_EXIT(endWithTraceLevel(2), testing::ExitedWithCode(0),
              testing::Eq(std::string("setCallBack\n") + texts::senderEnds + "\nremoveCallBack\n" +
                          texts::senderEnds + "\n"));
}

TEST_F(SenderLife, EndsInSilenceBelowTraceLevelTwo) {
  EXPECT_EXIT(endWithTraceLevel(1), testing::ExitedWithCode(0), "^setCallBack\nremoveCallBack\n$");
}

TEST_F(SenderLife, ConditionThatCannotBeDestroyedEndsTheProcessWithItsText) {
  EXPECT_DEATH(
      {
        VelpMsgSender::getInstance();
        hooks().condDestroy = [] { return EBUSY; };
        std::exit(0);
      },
      texts::conditionNotDestroyed);
}

TEST_F(SenderLife, WithoutUseMakesNoSender) {
  EXPECT_EXIT(
      {
        showStory();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST_F(SenderLife, ConstructorsDebugLineNeverAppearsQuirk) {
  EXPECT_EXIT(
      {
        showStory();
        VelpMsgSender::getInstance()->traceLevel = 2;
        std::cerr << "made";
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "^setCallBack\nmade$");
}

}  // namespace
}  // namespace velp::test
