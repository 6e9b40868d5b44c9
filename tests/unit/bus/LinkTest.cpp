// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The reception thread, on a transport that the test plays.
#include "bus/Link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

#include "support/Latch.h"
#include "support/Recorder.h"
#include "unit/bus/waitHook.h"
#include "velp/bus/StatusCode.h"
#include "velp/message/ByteForm.h"
#include "velp/runtime/VelException.h"

namespace velp::test {
namespace {

// Runs a function of the test's as its reception, until stopped.
class PlayedTransport : public Transport {
 public:
  using Reception = std::function<void(TransportSink&)>;

  PlayedTransport(Latch& stopped, Reception reception)
      : stopped(stopped), reception(std::move(reception)) {}

  bool send(const std::string&, const unsigned char*, std::size_t) override { return true; }
  void receive(TransportSink& sink) override {
    if (reception) reception(sink);
    EXPECT_TRUE(stopped.waitFor());
  }
  void stop() override { stopped.arrive(); }
  void closeAfterFork() noexcept override {}

 private:
  Latch& stopped;
  const Reception reception;
};

class LinkTest : public testing::Test {
 protected:
  LinkTest() { registry.add(callback); }

  std::unique_ptr<Link> makeLink(PlayedTransport::Reception reception = {}) {
    return std::make_unique<Link>(
        "Name", "played:", std::make_unique<PlayedTransport>(stopped, std::move(reception)),
        registry);
  }

  Latch stopped;
  CallbackRegistry registry;
  Recorder callback;
};

TEST_F(LinkTest, ReportsFirstThatItHasJoined) {
  bool reportedBefore = false;
  const auto sut = makeLink([&](TransportSink&) {
    reportedBefore = callback.reports(STATUS_JOINED).size() == 1;
    callback.velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_WARNING, 0, "received");
  });

  sut->start();

  ASSERT_TRUE(callback.waitForReport(0));
  EXPECT_TRUE(reportedBefore);
  EXPECT_EQ(callback.reports(STATUS_JOINED)[0].type, VelpBusProxyCallback::STATUS_INFORMATION);
  EXPECT_EQ(callback.reports(STATUS_JOINED)[0].text, "joined played: as Name");
}

TEST_F(LinkTest, HandsMessagesToTheCallbacks) {
  const auto sut = makeLink([](TransportSink& sink) {
    const std::vector<unsigned char> bytes = encodeMessage(SystemMessage("text", 1));
    std::string reason;
    EXPECT_TRUE(sink.onFrame("Peer", bytes.data(), bytes.size(), reason));
    EXPECT_EQ(reason, "");
  });

  sut->start();

  ASSERT_TRUE(callback.waitForMessages(1));
  EXPECT_EQ(callback.messages()[0].source, "Peer");
  EXPECT_EQ(callback.messages()[0].receiver, "Name");
}

TEST_F(LinkTest, RefusesWhatIsNoMessageWithTheReason) {
  const auto sut = makeLink([&](TransportSink& sink) {
    const unsigned char bytes[] = {1, 2, 3};
    std::string reason;
    EXPECT_FALSE(sink.onFrame("Peer", bytes, sizeof bytes, reason));
    EXPECT_NE(reason, "");
    sink.onStatus(VelpBusProxyCallback::STATUS_WARNING, STATUS_FRAME_REFUSED, reason);
  });

  sut->start();

  ASSERT_TRUE(callback.waitForReport(STATUS_FRAME_REFUSED));
  EXPECT_EQ(callback.count(), 0u);
}

TEST_F(LinkTest, HandsReportsToTheCallbacks) {
  const auto sut = makeLink([](TransportSink& sink) {
    sink.onStatus(VelpBusProxyCallback::STATUS_ERROR, STATUS_LINK_LOST, "text");
  });

  sut->start();

  ASSERT_TRUE(callback.waitForReport(STATUS_LINK_LOST));
  const Report report = callback.reports(STATUS_LINK_LOST)[0];
  EXPECT_EQ(report.type, VelpBusProxyCallback::STATUS_ERROR);
  EXPECT_EQ(report.text, "text");
}

TEST_F(LinkTest, KnowsTheReceptionThreadOfARegistry) {
  CallbackRegistry other;
  bool here = false;
  bool elsewhere = true;
  auto sut = makeLink([&](TransportSink&) {
    here = Link::isReceivingFor(registry);
    elsewhere = Link::isReceivingFor(other);
  });

  sut->start();
  sut.reset();

  EXPECT_TRUE(here);
  EXPECT_FALSE(elsewhere);
  EXPECT_FALSE(Link::isReceivingFor(registry));
}

TEST_F(LinkTest, StopsTheTransportAtItsEnd) {
  auto sut = makeLink();
  sut->start();
  ASSERT_TRUE(callback.waitForReport(STATUS_JOINED));
  ASSERT_EQ(stopped.count(), 0u);

  sut.reset();

  EXPECT_EQ(stopped.count(), 1u);
}

TEST_F(LinkTest, MayEndWithoutHavingStarted) {
  makeLink().reset();

  EXPECT_EQ(stopped.count(), 1u);
  EXPECT_EQ(callback.reports(STATUS_JOINED).size(), 0u);
}

TEST_F(LinkTest, SaysSoWhenNoThreadCanBeStarted) {
  const auto sut = makeLink();
  const NoMoreThreads noMoreThreads;

  try {
    sut->start();
    FAIL() << "did not throw";
  } catch (const VelException& e) {
    EXPECT_EQ(e.getErrorCode(), EAGAIN);
    EXPECT_THAT(e.what(), testing::HasSubstr("cannot start the bus's reception thread"));
  }
}

TEST_F(LinkTest, GivesItsNameAndTransport) {
  const auto sut = makeLink();

  EXPECT_EQ(sut->getName(), "Name");
  EXPECT_TRUE(sut->getTransport().send("Peer", nullptr, 0));
}

}  // namespace
}  // namespace velp::test
