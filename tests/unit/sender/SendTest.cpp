// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The sends that take a finished message, and the request built from bytes.
#include <atomic>
#include <thread>

#include "SenderFixture.h"

namespace velp::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::IsEmpty;

class Sender : public SenderFixture {};

TEST_F(Sender, IsTheSameForThreadsThatAskAtOnce) {
  constexpr std::size_t threadCount = 8;
  std::atomic<bool> go{false};
  std::vector<VelpMsgSender*> seen(threadCount);

  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([&go, &seen, i] {
      while (!go) std::this_thread::yield();
      seen[i] = VelpMsgSender::getInstance();
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();

  ASSERT_NE(seen[0], nullptr);
  EXPECT_THAT(seen, Each(seen[0]));
}

TEST_F(Sender, StartsWithTraceLevelZero) {
  EXPECT_EQ(sut().traceLevel, 0u);
}

TEST_F(Sender, SendMsgDeliversTheMessageAsItIs) {
  const SystemMessage message("text", 10);

  EXPECT_TRUE(sut().sendMsg("Service", message));

  EXPECT_EQ(service.next<SystemMessage>(), message);
}

TEST_F(Sender, SendRequestDeliversTheRequestAsItIs) {
  const unsigned char bytes[] = {1, 2, 3};
  Request original(eventList, bytes, 3);
  original.setText("somebody");

  EXPECT_TRUE(sut().sendRequest("Service", original));

  EXPECT_EQ(service.next<Request>(), original);
}

TEST_F(Sender, SendRequestBuildsARequestFromIdAndBytes) {
  unsigned char bytes[] = {0x10, 0x00, 0xFF};

  EXPECT_TRUE(sut().sendRequest("Service", VelpClientMessageBase::MSG_REMOVE_DATA, bytes, 3));

  const Request built = service.next<Request>();
  EXPECT_EQ(built.getKind(), 0xF000u);
  EXPECT_EQ(built.getContext(), 0u);
  EXPECT_EQ(built.getMsgID(), 3u);
  EXPECT_EQ(built.getPayload(), (Bytes{0x10, 0x00, 0xFF}));
  EXPECT_EQ(built.getText(), texts::notSet);
}

TEST_F(Sender, SendRequestWithoutBytesSendsAnEmptyPayload) {
  unsigned char bytes[] = {1};

  EXPECT_TRUE(sut().sendRequest("Service", eventList, nullptr, 5));
  EXPECT_THAT(service.next<Request>().getPayload(), IsEmpty());

  EXPECT_TRUE(sut().sendRequest("Service", eventList, bytes, 0));
  EXPECT_THAT(service.next<Request>().getPayload(), IsEmpty());
}

TEST_F(Sender, SendResponseDeliversTheResponseAsItIs) {
  Response original = makeResponse(eventList, Response::STATUS_ERROR, {9, 8});
  original.setFlag(77);
  original.setText("somebody");

  EXPECT_TRUE(sut().sendResponse("Service", original));

  EXPECT_EQ(received(), original);
}

TEST_F(Sender, SendsReturnFalseAndSayNothingWhenTheTargetIsAbsent) {
  EXPECT_FALSE(sut().sendMsg("Nobody", request));
  EXPECT_FALSE(sut().sendRequest("Nobody", request));
  EXPECT_FALSE(sut().sendRequest("Nobody", eventList, nullptr, 0));
  EXPECT_FALSE(sut().sendResponse("Nobody", response));

  EXPECT_EQ(capture.text(), "");
}

TEST_F(Sender, SendRequestWritesItsEntryLineFromLevelTwo) {
  const std::string line = texts::plainRequest;

  sut().traceLevel = 1;
  sut().sendRequest("Service", request);
  sut().sendRequest("Service", eventList, nullptr, 0);
  EXPECT_EQ(capture.countContaining("sendRequest"), 0u);

  sut().traceLevel = 2;
  sut().sendRequest("Service", request);
  EXPECT_EQ(capture.count(line), 1u);
  sut().sendRequest("Service", eventList, nullptr, 0);
  EXPECT_EQ(capture.count(line), 2u);
}

TEST_F(Sender, SendResponseWritesTheResponseFromLevelTwo) {
  const Response shown = makeResponse(eventList, Response::STATUS_OK, {1, 2});

  sut().traceLevel = 1;
  sut().sendResponse("Service", shown);
  EXPECT_EQ(capture.countContaining("sendResponse"), 0u);

  sut().traceLevel = 2;
  sut().sendResponse("Service", shown);
  EXPECT_EQ(capture.count(filled(texts::plainResponse, shown)), 1u);
}

TEST_F(Sender, SendMsgWritesNoLineAtAnyLevel) {
  sut().traceLevel = 2;

  sut().sendMsg("Service", request);

  EXPECT_EQ(capture.countContaining("send"), 0u);
}

TEST_F(Sender, StatusReportsAreIgnoredButForTheirEntryLine) {
  const std::string line = texts::senderStatus;

  sut().traceLevel = 1;
  sut().velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_ERROR, 5, "text");
  EXPECT_EQ(capture.count(line), 0u);

  sut().traceLevel = 2;
  sut().velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_ERROR, 5, "text");
  EXPECT_THAT(capture.lines(), Contains(line));
  EXPECT_EQ(capture.countContaining("text"), 0u);
}

}  // namespace
}  // namespace velp::test
