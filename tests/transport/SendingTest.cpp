// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What true and false mean, and from where one may send.
#include "support/Latch.h"
#include "transport/TransportSuite.h"

namespace velp::test {
namespace {

TEST_P(Sending, IsRefusedBeforeJoining) {
  Member receiver("Receiver", *bus);
  Member sut;

  EXPECT_FALSE(sut->sendTo("Receiver", numbered(1)));
}

TEST_P(Sending, IsRefusedAfterLeaving) {
  Member receiver("Receiver", *bus);
  Member sut("Sender", *bus);
  settle(sut, receiver);

  sut->disconnect();

  EXPECT_FALSE(sut->sendTo("Receiver", numbered(1)));
}

TEST_P(Sending, IsRefusedWhenTheReceiverIsAbsent) {
  Member sut("Sender", *bus);

  EXPECT_FALSE(sut->sendTo("Nobody", numbered(1)));
}

TEST_P(Sending, IsRefusedWhenTheReceiverHasLeft) {
  Member receiver("Receiver", *bus);
  Member sut("Sender", *bus);
  settle(sut, receiver);

  receiver->disconnect();

  EXPECT_FALSE(sut->sendTo("Receiver", numbered(1)));
}

TEST_P(Sending, WorksAgainWhenTheReceiverIsBack) {
  Member receiver("Receiver", *bus);
  Member sut("Sender", *bus);
  settle(sut, receiver);

  receiver->disconnect();
  receiver->connect("Receiver", bus->address());

  EXPECT_TRUE(sut->sendTo("Receiver", numbered(1)));
  ASSERT_TRUE(receiver.recorder.waitForMessages(1));
}

TEST_P(Sending, ReachesTheSenderItself) {
  Member sut("Self", *bus);

  ASSERT_TRUE(sut->sendTo("Self", numbered(1)));

  ASSERT_TRUE(sut.recorder.waitForMessages(1));
  EXPECT_EQ(sut.recorder.messages().front().source, "Self");
}

TEST_P(Sending, WorksInsideACallback) {
  Member echo("Echo", *bus, [](Participant& self, const Received& received) {
    EXPECT_TRUE(self.sendTo(received.source, *received.message));
  });
  Member sut("Sender", *bus);

  ASSERT_TRUE(sut->sendTo("Echo", numbered(5)));

  ASSERT_TRUE(sut.recorder.waitForMessages(1));
  EXPECT_EQ(numbersFrom("Echo", sut.recorder.messages()), std::vector<unsigned int>{5});
}

TEST_P(Sending, ReachesTheSenderItselfInsideACallback) {
  Member sut("Self", *bus, [](Participant& self, const Received& received) {
    const auto& request = dynamic_cast<const Request&>(*received.message);
    if (request.getMsgID() == 9) return;
    EXPECT_TRUE(self.sendTo("Self", numbered(request.getMsgID() + 1)));
  });

  ASSERT_TRUE(sut->sendTo("Self", numbered(0)));

  ASSERT_TRUE(sut.recorder.waitForMessages(10));
  EXPECT_EQ(numbersFrom("Self", sut.recorder.messages()), countTo(10));
}

// Sends from within its first report.
class EarlySender : public VelpBusProxyCallback {
 public:
  explicit EarlySender(Participant& self) : self(self) {}
  void velpBusProxyCb(const MessageBase*, const std::string&, const std::string&) override {}
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override {
    sent = self.sendTo("Receiver", numbered(1));
    name = self.getName();
    reported.arrive();
  }

  Latch reported;
  bool sent = false;
  std::string name;

 private:
  Participant& self;
};

TEST_P(Sending, WorksInsideTheReportOfHavingJoined) {
  Member receiver("Receiver", *bus);
  Participant sut;
  EarlySender early(sut);
  sut.setCallBack(early);

  sut.connect("Sender", bus->address());

  ASSERT_TRUE(early.reported.waitFor());
  EXPECT_TRUE(early.sent);
  EXPECT_EQ(early.name, "Sender");
  sut.removeCallBack(early);
}

TEST_P(Sending, LeavesTheMessageAlone) {
  Member receiver("Receiver", *bus);
  Member sut("Sender", *bus);
  const Request request = numbered(3, 70000);
  const Request before = request;

  ASSERT_TRUE(sut->sendTo("Receiver", request));

  EXPECT_TRUE(request == before);
}

}  // namespace
}  // namespace velp::test
