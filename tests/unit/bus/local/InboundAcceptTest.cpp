// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Accepting, when it works and when the system does not let it.
#include <cerrno>

#include "unit/bus/local/InboundFixture.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

constexpr const char* noRoom =
    "cannot accept a connection: this process has no room for more file descriptors";

class InboundAccept : public InboundFixture {};

TEST_F(InboundAccept, TakesAllThatWait) {
  std::vector<RawClient> clients;
  for (int i = 0; i < 10; ++i) clients.push_back(connect());
  const std::size_t before = countDescriptors();
  serve();
  EXPECT_EQ(countDescriptors(), before + 10);
}

TEST_F(InboundAccept, LeavesTheOthersTheirTurn) {
  std::vector<RawClient> clients;
  for (int i = 0; i < 40; ++i) clients.push_back(connect());
  const CallHook counter(Call::accept4, [] { return 0; });
  EXPECT_EQ(serveOnce(), 1);
  EXPECT_EQ(counter.calls(), 32u);
  serve();
  EXPECT_EQ(counter.calls(), 41u) << "all 40, and once in vain";
}

TEST_F(InboundAccept, PassesOverConnectionsThatAreGoneAlready) {
  const RawClient client = connect();
  const FailingCall failing(Call::accept4, {EINTR, ECONNABORTED});
  serve();
  EXPECT_TRUE(client.isKept());
  EXPECT_EQ(failing.calls(), 4u);
}

TEST_F(InboundAccept, ClosesWhatItCannotJudgeOrWatch) {
  const NoLeaks noLeaks;
  for (const Call call : {Call::getsockopt, Call::epoll_ctl}) {
    const RawClient client = connect();
    const FailingCall failing(call, {ENOMEM});
    serve();
    EXPECT_TRUE(client.isDropped());
    EXPECT_EQ(onTime(), -1);
  }
}

TEST_F(InboundAccept, RestsWithoutDescriptorsInsteadOfSpinning) {
  const RawClient client = connect();
  Inbound& inbound = sut;
  RecordingSink& target = sink;
  {
    const NoMoreDescriptors noMore;
    inbound.onListenerReady(target);
  }
  // The connection still waits, but nothing wakes the reception thread for it.
  EXPECT_EQ(serveOnce(), 0);
  expectReport(STATUS_SENDER_REFUSED, noRoom);
  EXPECT_EQ(onTime(), 100);
  clock.advance(99);
  EXPECT_EQ(onTime(), 1);
  EXPECT_EQ(serveOnce(), 0);
  clock.advance(1);
  EXPECT_EQ(onTime(), -1);
  EXPECT_EQ(serveOnce(), 1) << "it tries again";
  EXPECT_TRUE(client.isKept());
}

TEST_F(InboundAccept, GoesOnAfterTheRest) {
  const RawClient client = connect();
  {
    const FailingCall failing(Call::accept4, {EMFILE});
    serve();
  }
  expectReport(STATUS_SENDER_REFUSED, noRoom);
  clock.advance(100);
  EXPECT_EQ(onTime(), -1);
  ASSERT_TRUE(client.sayHello("Sender"));
  ASSERT_TRUE(client.send(inlinePacket({1})));
  serve();
  EXPECT_EQ(sink.frames.size(), 1u);
}

TEST_F(InboundAccept, RestsAgainWhenItCannotBeWoken) {
  const RawClient client = connect();
  {
    const FailingCall failing(Call::accept4, {EMFILE});
    serve();
  }
  clock.advance(100);
  {
    const FailingCall failing(Call::epoll_ctl, {ENOMEM});
    EXPECT_EQ(onTime(), 100) << "the reception thread would spin";
  }
  clock.advance(100);
  EXPECT_EQ(onTime(), -1);
}

TEST_F(InboundAccept, KnowsWhatIsDueFirst) {
  const RawClient silent = connect();
  serve();
  clock.advance(850);
  const RawClient other = connect();
  const FailingCall failing(Call::accept4, {EMFILE, EMFILE, EMFILE});
  serve();
  EXPECT_EQ(onTime(), 100) << "listening again, before the hello is due";
  clock.advance(100);
  EXPECT_EQ(onTime(), 50);
  serve();
  EXPECT_EQ(onTime(), 50) << "the hello, before listening again";
  clock.advance(50);
  EXPECT_EQ(onTime(), 50);
  EXPECT_TRUE(silent.isDropped());
}

TEST_F(InboundAccept, ClosesEverythingAtItsEnd) {
  RawClient client = connect();
  {
    const NoLeaks noLeaks;
    Inbound shortLived(directory, listener.get(), epoll.get(), reports);
    shortLived.onListenerReady(sink);
  }
  EXPECT_TRUE(client.isDropped());
}

}  // namespace
}  // namespace velp::test
