// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Processes that end in the middle of their work.
#include <gtest/gtest.h>

#include <string>

#include "process/ChildProcess.h"
#include "process/NumberedService.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

class ExitWhileBusy : public testing::TestWithParam<std::string> {};

TEST_P(ExitWhileBusy, NeitherCrashesNorHangsNorHarmsTheService) {
  const PrivateBus bus;
  ChildProcess service({VELP_PEERS "peer-service", "Service", bus.address()});
  ASSERT_TRUE(service.waitForLine("ready"));

  for (int round = 0; round < VELP_EXITS; ++round) {
    ChildProcess busy({VELP_PEERS "peer-exit", "Busy", bus.address(), "Service", GetParam()});
    ASSERT_EQ(busy.waitForEnd(), 0) << "round " << round << "\n" << busy.out() << busy.err();
  }

  const Joined joined(bus.address());
  VelpClientMessageResponse response;
  EXPECT_EQ(VelpMsgSender::getInstance()->sendRequestWaitForResponse("Service", numberedRequest(1),
                                                                     response, 20),
            0);
}

INSTANTIATE_TEST_SUITE_P(Ways, ExitWhileBusy, testing::Values("return", "exit"),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace velp::test
