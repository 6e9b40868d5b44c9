// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What a fault record asks of the bus, with the bus in the test's hands.
#include <gtest/gtest.h>

#include "Hooks.h"
#include "support/LogCapture.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

class FaultLogSend : public testing::Test {
 protected:
  ~FaultLogSend() override { hooks() = Hooks(); }

  // How often the bus is asked to send a record, when its answer is always `answer`.
  unsigned int sendsOfARecord(bool answer) {
    unsigned int sends = 0;
    hooks().sendTo = [&](const MessageBase&) {
      ++sends;
      EXPECT_EQ(capture.text(), "") << "the line comes before the send";
      return answer;
    };
    const auto code = static_cast<faultCode_t>(4711);
    EXPECT_EQ(VelpMsgSender::getInstance()->sendSysMsgErrorLog(code, "disk", true, ""), answer);
    return sends;
  }

  LogCapture capture;
};

TEST_F(FaultLogSend, IsAskedForOnceWhenItSucceeds) {
  EXPECT_EQ(sendsOfARecord(true), 1u);
}

TEST_F(FaultLogSend, IsNotTriedAgainWhenItIsRefused) {
  EXPECT_EQ(sendsOfARecord(false), 1u);
}

}  // namespace
}  // namespace velp::test
