// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A service that is killed while it serves.
#include <gtest/gtest.h>
#include <signal.h>

#include <future>

#include "process/ChildProcess.h"
#include "process/NumberedService.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

struct KilledService : testing::Test {
  // A request whose service is killed once it has taken it.
  int askAndKill() {
    ChildProcess service({VELP_PEERS "peer-service", "Service", bus.address()});
    service.waitForLine("ready");
    std::future<int> result =
        std::async(std::launch::async, [this] { return ask(silentRequest, 2); });
    service.waitForLine("taken");
    service.kill(SIGKILL);
    EXPECT_EQ(service.waitForEnd(), -SIGKILL);
    return result.get();
  }

  int ask(const VelpClientMessageRequest& request, unsigned short timeout) {
    return VelpMsgSender::getInstance()->sendRequestWaitForResponse("Service", request, response,
                                                                    timeout);
  }

  PrivateBus bus;
  Joined joined{bus.address()};
  VelpClientMessageRequest silentRequest{silentID, nullptr, 0};
  VelpClientMessageResponse response;
};

TEST_F(KilledService, LeavesItsClientWithATimeOut) {
  EXPECT_EQ(askAndKill(), -2);
}

TEST_F(KilledService, MakesTheNextSendFalse) {
  askAndKill();

  EXPECT_FALSE(VelpMsgSender::getInstance()->sendRequest("Service", silentRequest));
  EXPECT_EQ(ask(silentRequest, 2), -1);
}

TEST_F(KilledService, GetsItsNameAgainAtOnceWhenRestarted) {
  askAndKill();

  ChildProcess again({VELP_PEERS "peer-service", "Service", bus.address()});
  ASSERT_TRUE(again.waitForLine("ready"));
  EXPECT_EQ(ask(numberedRequest(9), 20), 0);
}

}  // namespace
}  // namespace velp::test
