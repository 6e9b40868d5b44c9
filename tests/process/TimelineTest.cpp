// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How long a client waits, on the clock.
#include <gtest/gtest.h>

#include <chrono>

#include "process/ChildProcess.h"
#include "process/NumberedService.h"
#include "process/PrivateBus.h"
#include "support/LogCapture.h"
#include "support/fixedTexts.h"

namespace velp::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto slowID = static_cast<VelpClientMessageBase::velpMsgID_t>(60);

struct Timeline : testing::Test {
  Timeline() : service({VELP_PEERS "peer-service", "Service", bus.address()}) {
    service.waitForLine("ready");
  }

  int askWithTimeout3(VelpClientMessageBase::velpMsgID_t id) {
    const VelpClientMessageRequest request(id, nullptr, 0);
    return VelpMsgSender::getInstance()->sendRequestWaitForResponse("Service", request, response,
                                                                    3);
  }

  double seconds() const { return std::chrono::duration<double>(Clock::now() - begin).count(); }

  PrivateBus bus;
  ChildProcess service;
  Joined joined{bus.address()};
  VelpClientMessageResponse response;
  Clock::time_point begin = Clock::now();
};

TEST_F(Timeline, ProgressEveryTwoSecondsKeepsAThreeSecondWaitAliveForEight) {
  const LogCapture log;
  VelpMsgSender::getInstance()->traceLevel = 1;

  const int result = askWithTimeout3(slowID);

  VelpMsgSender::getInstance()->traceLevel = 0;
  EXPECT_EQ(result, 0);
  EXPECT_EQ(response.getString(0, 1), "done");
  EXPECT_GT(seconds(), 7.9);
  EXPECT_EQ(log.count(texts::progressSeen), 3u);
}

TEST_F(Timeline, WithoutProgressTheSameWaitEndsWithMinus2AfterThreeSeconds) {
  const int result = askWithTimeout3(silentID);

  EXPECT_EQ(result, -2);
  EXPECT_GE(seconds(), 3.0);
  EXPECT_LT(seconds(), 6.0);
}

}  // namespace
}  // namespace velp::test
