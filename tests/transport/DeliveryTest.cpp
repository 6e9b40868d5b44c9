// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What arrives, from whom, and in which order.
#include "transport/TransportSuite.h"
#include "velp/bus/StatusCode.h"
#include "velp/message/ByteForm.h"

namespace velp::test {
namespace {

using testing::ElementsAreArray;

template <typename Message>
Message withEveryBaseField(Message message) {
  message.setContext(0x1122334455667788u);
  message.setSourceChannel("channel\n");
  message.cascadeChannel(7);
  message.cascadeChannel(65535);
  return message;
}

template <typename Message>
void expectEqual(const Received& received, const Message& sent) {
  const auto* got = dynamic_cast<const Message*>(received.message.get());
  ASSERT_NE(got, nullptr);
  EXPECT_TRUE(*got == sent);
}

TEST_P(Delivery, BringsARequestThatEqualsTheOneSent) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);
  Request request = withEveryBaseField(numbered(50, 300));
  request.setText("text \xff");

  ASSERT_TRUE(sender->sendTo("Receiver", request));

  ASSERT_TRUE(receiver.recorder.waitForMessages(1));
  expectEqual(receiver.recorder.messages().front(), request);
}

TEST_P(Delivery, BringsAResponseThatEqualsTheOneSent) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);
  Response response = withEveryBaseField(
      Response(VelpClientMessageBase::MSG_GET_EVENT_LIST, Response::STATUS_PROGRESS));
  const Bytes info = {1, 2, 3};
  response.setProgressInfo(40, info.data(), 3);
  response.setFlag(1);

  ASSERT_TRUE(sender->sendTo("Receiver", response));

  ASSERT_TRUE(receiver.recorder.waitForMessages(1));
  expectEqual(receiver.recorder.messages().front(), response);
}

TEST_P(Delivery, BringsASystemMessageThatEqualsTheOneSent) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);
  const SystemMessage message = withEveryBaseField(SystemMessage("fault text", 10));

  ASSERT_TRUE(sender->sendTo("Receiver", message));

  ASSERT_TRUE(receiver.recorder.waitForMessages(1));
  expectEqual(receiver.recorder.messages().front(), message);
}

TEST_P(Delivery, NamesTheTrueSenderWhateverTheMessageSays) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);
  Request request = numbered(1);
  request.setText("Impostor");
  request.setSourceChannel("Impostor");

  ASSERT_TRUE(sender->sendTo("Receiver", request));

  ASSERT_TRUE(receiver.recorder.waitForMessages(1));
  EXPECT_EQ(receiver.recorder.messages().front().source, "Sender");
}

TEST_P(Delivery, NamesTheReceiverItself) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  ASSERT_TRUE(sender->sendTo("Receiver", numbered(1)));

  ASSERT_TRUE(receiver.recorder.waitForMessages(1));
  EXPECT_EQ(receiver.recorder.messages().front().receiver, "Receiver");
}

TEST_P(Delivery, ReachesOnlyTheOneThatWasNamed) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);
  Member other("Receiver2", *bus);

  ASSERT_TRUE(sender->sendTo("Receiver", numbered(1)));

  settle(sender, receiver);
  settle(sender, other);
  EXPECT_EQ(receiver.recorder.count(), 1u);
  EXPECT_EQ(other.recorder.count(), 0u);
  EXPECT_EQ(sender.recorder.count(), 0u);
}

TEST_P(Delivery, KeepsTheOrderAmongSmallAndLargeMessages) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  for (unsigned int i = 0; i < 40; ++i) {
    const std::size_t size = i % 2 == 0 ? 10 : 200000;
    ASSERT_TRUE(sendUntilTaken(*sender, "Receiver", numbered(i, size)));
  }

  settle(sender, receiver);
  EXPECT_THAT(numbersFrom("Sender", receiver.recorder.messages()), ElementsAreArray(countTo(40)));
}

// A request whose byte form has exactly this size.
Request ofByteSize(std::size_t size) {
  static const std::size_t empty = static_cast<std::size_t>(numbered(7).byteSize(true));
  return numbered(7, size - empty);
}

TEST_P(Delivery, BringsMessagesOfEverySizeUpToTheLimit) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);
  constexpr std::size_t kib64 = 65536;
  std::vector<Request> requests;
  for (std::size_t payload : {std::size_t{0}, std::size_t{1}, kib64 - 1, kib64, kib64 + 1}) {
    requests.push_back(numbered(1, payload));
  }
  for (std::size_t all : {kib64 - 1, kib64, kib64 + 1, std::size_t{1024 * 1024}, maxMessageSize}) {
    requests.push_back(ofByteSize(all));
  }

  for (const Request& request : requests) {
    ASSERT_TRUE(sendUntilTaken(*sender, "Receiver", request)) << request.byteSize(true);
  }

  ASSERT_TRUE(receiver.recorder.waitForMessages(requests.size()));
  const std::vector<Received> all = receiver.recorder.messages();
  for (std::size_t i = 0; i < requests.size(); ++i) expectEqual(all[i], requests[i]);
}

TEST_P(Delivery, RefusesAMessageOneByteOverTheLimit) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  EXPECT_FALSE(sender->sendTo("Receiver", ofByteSize(maxMessageSize + 1)));

  settle(sender, receiver);
  EXPECT_EQ(receiver.recorder.count(), 0u);
}

// Of a kind that no receiver knows.
class StrangeMessage : public MessageBase {
 public:
  StrangeMessage() : MessageBase(0x1234, 0) {}
  MessageBase* clone() const override { return new StrangeMessage(*this); }
  std::uint64_t byteSize(bool withBase) const override { return withBase ? baseSize() : 0; }
  void writeFields(unsigned char*&) const override {}
  const char* kindName() const override { return "strange"; }
};

// Says that it has a byte that it does not write.
class SparingMessage : public StrangeMessage {
 public:
  std::uint64_t byteSize(bool withBase) const override {
    return StrangeMessage::byteSize(withBase) + 1;
  }
};

class RefusingMessage : public StrangeMessage {
 public:
  bool writeToByteArray(unsigned char*&, unsigned int, bool) const override { return false; }
};

TEST_P(Delivery, RefusesAMessageThatDoesNotWriteWhatItSays) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  EXPECT_FALSE(sender->sendTo("Receiver", SparingMessage()));
  EXPECT_FALSE(sender->sendTo("Receiver", RefusingMessage()));

  settle(sender, receiver);
  EXPECT_EQ(receiver.recorder.count(), 0u);
  EXPECT_TRUE(receiver.recorder.reports(STATUS_FRAME_REFUSED).empty());
}

TEST_P(Delivery, ReportsWhatIsNoMessageAndGoesOn) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  ASSERT_TRUE(sender->sendTo("Receiver", StrangeMessage()));

  ASSERT_TRUE(receiver.recorder.waitForReport(STATUS_FRAME_REFUSED));
  const Report report = receiver.recorder.reports(STATUS_FRAME_REFUSED).front();
  EXPECT_EQ(report.type, VelpBusProxyCallback::STATUS_WARNING);
  EXPECT_THAT(report.text, testing::HasSubstr("Sender"));
  EXPECT_THAT(report.text, testing::HasSubstr("unknown kind 4660"));
  settle(sender, receiver);
  EXPECT_EQ(receiver.recorder.count(), 0u);
}

TEST_P(Delivery, LosesNothingBehindWhatIsNoMessage) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  for (unsigned int i = 0; i < 200; ++i) {
    ASSERT_TRUE(sendUntilTaken(*sender, "Receiver", StrangeMessage()));
    ASSERT_TRUE(sendUntilTaken(*sender, "Receiver", numbered(i)));
  }

  settle(sender, receiver);
  EXPECT_THAT(numbersFrom("Sender", receiver.recorder.messages()), ElementsAreArray(countTo(200)));
}

TEST_P(Delivery, LimitsTheReportsOfWhatIsNoMessage) {
  Member sender("Sender", *bus);
  Member receiver("Receiver", *bus);

  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(sendUntilTaken(*sender, "Receiver", StrangeMessage()));
  }

  ASSERT_TRUE(receiver.recorder.waitForReport(STATUS_FRAME_REFUSED, 10));
  settle(sender, receiver);
  EXPECT_LT(receiver.recorder.reports(STATUS_FRAME_REFUSED).size(), 100u);
}

}  // namespace
}  // namespace velp::test
