// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A great many requests in a row.
#include <gtest/gtest.h>

#include "process/ChildProcess.h"
#include "process/NumberedService.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

// How many of the first `count` requests are not answered with their own list; stops at the first.
unsigned int wrongAnswers(const std::string& service, unsigned int count) {
  for (unsigned int number = 0; number < count; ++number) {
    VelpClientMessageResponse response;
    const int result = VelpMsgSender::getInstance()->sendRequestWaitForResponse(
        service, numberedRequest(number), response, 20);
    VelpMsgReqGetEventList list;
    if (result != 0 || !list.initFromResponse(response) ||
        !sameEvents(list, numberedList(number))) {
      ADD_FAILURE() << "request " << number << ": " << result << ", " << response;
      return 1;
    }
  }
  return 0;
}

TEST(Requests, AllOfManyAreAnsweredRightBetweenTwoProcesses) {
  const PrivateBus bus;
  ChildProcess service({VELP_PEERS "peer-service", "Service", bus.address()});
  ASSERT_TRUE(service.waitForLine("ready"));
  const Joined joined(bus.address());

  EXPECT_EQ(wrongAnswers("Service", VELP_REQUESTS), 0u);
}

TEST(Requests, AllOfManyAreAnsweredRightInsideOneProcess) {
  const NumberedService service;
  const Joined joined("inproc:");

  EXPECT_EQ(wrongAnswers("Test", VELP_REQUESTS), 0u);
}

}  // namespace
}  // namespace velp::test
