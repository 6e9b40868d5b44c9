// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Which callbacks are called, in which order, until when.
#include <memory>
#include <stdexcept>
#include <thread>

#include "support/Latch.h"
#include "transport/TransportSuite.h"
#include "velp/bus/StatusCode.h"

namespace velp::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Two members, and a way to register more callbacks at the receiver for the length of a test.
class TwoMembers {
 public:
  explicit TwoMembers(const TestBus& bus) : sender("Sender", bus), receiver("Receiver", bus) {}

  void send(const MessageBase& message) { ASSERT_TRUE(sender->sendTo("Receiver", message)); }
  void sendRequestAndResponse() {
    send(numbered(1));
    send(Response());
    settle(sender, receiver);
  }

  Member sender;
  Member receiver;
};

TEST_P(Callbacks, WithoutAFilterGetEverything) {
  TwoMembers two(*bus);

  two.send(SystemMessage("text", 1));
  two.sendRequestAndResponse();

  EXPECT_EQ(two.receiver.recorder.count(), 3u);
}

TEST_P(Callbacks, GetWhatAFilterSetBeforehandLetsIn) {
  TwoMembers two(*bus);
  Recorder sut;
  two.receiver->setRxFilter(sut, {clientRequestKind});
  two.receiver->setCallBack(sut);

  two.sendRequestAndResponse();
  two.receiver->removeCallBack(sut);

  EXPECT_EQ(numbersFrom("Sender", sut.messages()), std::vector<unsigned int>{1});
  EXPECT_EQ(sut.count(), 1u);
}

TEST_P(Callbacks, GetWhatAFilterSetAfterwardsLetsIn) {
  TwoMembers two(*bus);
  Recorder sut;
  two.receiver->setCallBack(sut);
  two.receiver->setRxFilter(sut, {clientResponseKind});

  two.sendRequestAndResponse();
  two.receiver->removeCallBack(sut);

  ASSERT_EQ(sut.count(), 1u);
  EXPECT_EQ(sut.messages().front().message->getKind(), clientResponseKind);
}

TEST_P(Callbacks, GetWhatTheLastFilterLetsIn) {
  TwoMembers two(*bus);
  Recorder sut;
  two.receiver->setRxFilter(sut, {systemMessageKind});
  two.receiver->setCallBack(sut);
  two.receiver->setRxFilter(sut, {clientRequestKind, clientResponseKind});

  two.send(SystemMessage("text", 1));
  two.sendRequestAndResponse();
  two.receiver->removeCallBack(sut);

  EXPECT_EQ(sut.count(), 2u);
}

TEST_P(Callbacks, WithAnEmptyFilterGetReportsOnly) {
  Member sut;
  Recorder deaf;
  sut->setRxFilter(deaf, {});
  sut->setCallBack(deaf);
  sut->connect("Self", bus->address());
  ASSERT_TRUE(sut->sendTo("Self", numbered(1)));

  settle(sut, sut);
  ASSERT_TRUE(deaf.waitForReport(STATUS_JOINED));
  sut->removeCallBack(deaf);
  EXPECT_EQ(deaf.count(), 0u);
}

TEST_P(Callbacks, AreCalledInTheOrderOfRegistration) {
  TwoMembers two(*bus);
  std::vector<int> order;
  Recorder first([&](const Received&) { order.push_back(1); });
  Recorder second([&](const Received&) { order.push_back(2); });
  Recorder third([&](const Received&) { order.push_back(3); });
  // The filter's registration comes first, and does not count.
  two.receiver->setRxFilter(third, {clientRequestKind});
  for (Recorder* sut : {&first, &second, &third}) two.receiver->setCallBack(*sut);

  two.send(numbered(1));
  two.send(numbered(2));
  settle(two.sender, two.receiver);
  for (Recorder* sut : {&first, &second, &third}) two.receiver->removeCallBack(*sut);

  EXPECT_THAT(order, ElementsAre(1, 2, 3, 1, 2, 3));
}

TEST_P(Callbacks, RegisteredTwiceAreCalledOnce) {
  TwoMembers two(*bus);
  two.receiver->setCallBack(two.receiver.recorder);

  two.send(numbered(1));

  settle(two.sender, two.receiver);
  EXPECT_EQ(two.receiver.recorder.count(), 1u);
}

TEST_P(Callbacks, AreNotCalledOnceRemoved) {
  TwoMembers two(*bus);
  Recorder sut;
  two.receiver->setCallBack(sut);
  two.send(numbered(1));
  ASSERT_TRUE(sut.waitForMessages(1));

  two.receiver->removeCallBack(sut);
  two.sendRequestAndResponse();

  EXPECT_EQ(sut.count(), 1u);
}

TEST_P(Callbacks, AreRemovedOnlyWhenTheirCallHasReturned) {
  TwoMembers two(*bus);
  Latch entered;
  Latch release;
  bool returned = false;
  Recorder sut([&](const Received&) {
    entered.arrive();
    EXPECT_TRUE(release.waitFor());
    returned = true;
  });
  two.receiver->setCallBack(sut);
  two.send(numbered(1));
  ASSERT_TRUE(entered.waitFor());

  std::thread releaser([&] { release.arrive(); });
  two.receiver->removeCallBack(sut);

  EXPECT_TRUE(returned);
  releaser.join();
}

TEST_P(Callbacks, MayRemoveThemselves) {
  TwoMembers two(*bus);
  Recorder* self = nullptr;
  Recorder sut([&](const Received&) { two.receiver->removeCallBack(*self); });
  self = &sut;
  two.receiver->setCallBack(sut);

  two.send(numbered(1));
  two.sendRequestAndResponse();

  EXPECT_EQ(sut.count(), 1u);
}

TEST_P(Callbacks, RemovedByAnEarlierOneAreNotCalledAnyMore) {
  TwoMembers two(*bus);
  Recorder victim;
  Recorder remover([&](const Received&) { two.receiver->removeCallBack(victim); });
  two.receiver->setCallBack(remover);
  two.receiver->setCallBack(victim);

  two.send(numbered(1));
  settle(two.sender, two.receiver);
  two.receiver->removeCallBack(remover);

  EXPECT_EQ(victim.count(), 0u);
}

TEST_P(Callbacks, AddedByAnotherAreCalledFromTheNextMessageOn) {
  TwoMembers two(*bus);
  Recorder added;
  Recorder adder([&](const Received&) { two.receiver->setCallBack(added); });
  two.receiver->setCallBack(adder);

  two.send(numbered(1));
  two.send(numbered(2));
  settle(two.sender, two.receiver);
  two.receiver->removeCallBack(adder);
  two.receiver->removeCallBack(added);

  EXPECT_EQ(numbersFrom("Sender", added.messages()), std::vector<unsigned int>{2});
}

TEST_P(Callbacks, TakeTheirFilterWithThemWhenRemoved) {
  TwoMembers two(*bus);
  Recorder sut;
  two.receiver->setRxFilter(sut, {});
  two.receiver->setCallBack(sut);
  two.receiver->removeCallBack(sut);
  two.receiver->setCallBack(sut);

  two.sendRequestAndResponse();
  two.receiver->removeCallBack(sut);

  EXPECT_EQ(sut.count(), 2u);
}

TEST_P(Callbacks, ThatThrowAreTakenOffAndReportedToTheOthers) {
  TwoMembers two(*bus);
  Recorder sut([](const Received&) { throw std::runtime_error("out of\npaper"); });
  Recorder later;
  two.receiver->setCallBack(sut);
  two.receiver->setCallBack(later);

  two.send(numbered(1));
  two.send(numbered(2));
  settle(two.sender, two.receiver);
  two.receiver->removeCallBack(later);

  EXPECT_EQ(sut.count(), 1u);
  EXPECT_EQ(sut.reports(STATUS_CALLBACK_THREW).size(), 0u);
  for (Recorder* other : {&two.receiver.recorder, &later}) {
    EXPECT_EQ(other->count(), 2u);
    ASSERT_EQ(other->reports(STATUS_CALLBACK_THREW).size(), 1u);
    const Report report = other->reports(STATUS_CALLBACK_THREW).front();
    EXPECT_EQ(report.type, VelpBusProxyCallback::STATUS_ERROR);
    EXPECT_THAT(report.text, HasSubstr("out of\\x0apaper"));
  }
}

TEST_P(Callbacks, ThatThrowMayBeRegisteredAgain) {
  TwoMembers two(*bus);
  int calls = 0;
  Recorder sut([&](const Received&) {
    if (++calls == 1) throw std::runtime_error("once");
  });
  two.receiver->setCallBack(sut);
  two.send(numbered(1));
  ASSERT_TRUE(two.receiver.recorder.waitForReport(STATUS_CALLBACK_THREW));

  two.receiver->setCallBack(sut);
  two.send(numbered(2));
  settle(two.sender, two.receiver);
  two.receiver->removeCallBack(sut);

  EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace velp::test
