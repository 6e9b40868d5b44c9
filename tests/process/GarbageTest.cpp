// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A process that sends bytes that mean nothing.
#include <gtest/gtest.h>

#include "process/ChildProcess.h"
#include "process/NumberedService.h"
#include "process/PrivateBus.h"
#include "support/fixedTexts.h"

namespace velp::test {
namespace {

const std::string reportStart = filled(texts::busWarning, "dropped the connection of a stranger ");

TEST(Garbage, IsDroppedAndReportedWhileHonestTrafficGoesOn) {
  const PrivateBus bus;
  ChildProcess service({VELP_PEERS "peer-service", "Service", bus.address()});
  ASSERT_TRUE(service.waitForLine("ready"));
  const Joined joined(bus.address());

  // The first ten are reported one by one; of a flood that goes on, a report a second is left.
  constexpr unsigned int reportedAtOnce = 10;
  for (unsigned int round = 0; round < 2 * reportedAtOnce; ++round) {
    ChildProcess garbage({VELP_PEERS "peer-garbage", bus.getPath() + "/Service"});
    VelpClientMessageResponse response;
    EXPECT_EQ(VelpMsgSender::getInstance()->sendRequestWaitForResponse(
                  "Service", numberedRequest(round), response, 20),
              0);
    EXPECT_TRUE(garbage.waitForLine("dropped"));
    EXPECT_EQ(garbage.waitForEnd(), 0);
    if (round < reportedAtOnce) {
      EXPECT_TRUE(service.waitForLine(reportStart)) << "round " << round;
    }
  }
}

}  // namespace
}  // namespace velp::test
