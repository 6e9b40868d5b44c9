// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Who is let in, and what becomes of the others.
#include <sched.h>

#include <cerrno>

#include "bus/local/Hello.h"
#include "bus/local/PacketHeader.h"
#include "unit/bus/inChild.h"
#include "unit/bus/local/InboundFixture.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

class InboundHello : public InboundFixture {
 protected:
  void expectRefused(const RawClient& client, const std::string& text) {
    serve();
    EXPECT_TRUE(client.isDropped());
    expectRefusedSender(self("a stranger"), text);
  }
  void expectNotItsUsers(const RawClient& client, const std::string& name) {
    expectRefused(client, "it calls itself " + name + ", a name that is not its user's");
  }
};

TEST_F(InboundHello, ProvesTheNameThatFramesComeFrom) {
  const RawClient client = connectAs("Sender");
  ASSERT_TRUE(client.send(inlinePacket({7})));
  serve();
  EXPECT_TRUE(client.isKept());
  ASSERT_EQ(sink.frames.size(), 1u);
  EXPECT_EQ(sink.frames[0].source, "Sender");
  EXPECT_EQ(sink.frames[0].bytes, (Bytes{7}));
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(InboundHello, IsTakenInTheFormDocumented) {
  giveName(directory, "Ab");
  const RawClient client = connect();
  ASSERT_TRUE(client.send({0x56, 0x45, 0x4C, 0x50, 0x01, 0x02, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06,
                           0x07, 0x08, 0x41, 0x62}));
  ASSERT_TRUE(client.send({0x01, 0, 0, 0, 0, 0, 0, 0x03, 0xAA, 0xBB, 0xCC}));
  serve();
  ASSERT_EQ(sink.frames.size(), 1u);
  EXPECT_EQ(sink.frames[0].source, "Ab");
  EXPECT_EQ(sink.frames[0].bytes, (Bytes{0xAA, 0xBB, 0xCC}));
}

TEST_F(InboundHello, IsRefusedForANameThatNobodyHas) {
  const RawClient client = connect();
  ASSERT_TRUE(client.sayHello("Nobody"));
  expectNotItsUsers(client, "Nobody");
}

TEST_F(InboundHello, IsRefusedForAStrangersName) {
  VELP_NEEDS_ROOT();
  giveName(directory, "Strangers", stranger);
  const RawClient client = connect();
  ASSERT_TRUE(client.sayHello("Strangers"));
  expectNotItsUsers(client, "Strangers");
}

TEST_F(InboundHello, IsRefusedForALockFileThatIsALink) {
  ASSERT_EQ(symlink("Sender.lock", (path + "/Linked.lock").c_str()), 0);
  const RawClient client = connect();
  ASSERT_TRUE(client.sayHello("Linked"));
  expectNotItsUsers(client, "Linked");
}

TEST_F(InboundHello, IsRefusedFromAStrangerForTheNameOfAnother) {
  VELP_NEEDS_ROOT();
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  ASSERT_EQ(chmod((path + "/Receiver").c_str(), 0666), 0);
  giveName(directory, "Strangers", stranger);
  const auto sendAs = [&](const std::string& name) {
    EXPECT_TRUE(inChild([&] {
      ASSERT_EQ(setuid(stranger), 0);
      const RawClient client = connect();
      ASSERT_TRUE(client.sayHello(name));
      ASSERT_TRUE(client.send(inlinePacket({1})));
    }));
    serve();
  };
  sendAs("Sender");
  EXPECT_TRUE(sink.frames.empty());
  ASSERT_EQ(sink.reports.size(), 1u);
  EXPECT_EQ(sink.reports[0].code, STATUS_SENDER_REFUSED);
  EXPECT_THAT(sink.reports[0].text,
              testing::EndsWith("user 65534): it calls itself Sender, a name that is not its "
                                "user's"));
  sendAs("Strangers");
  ASSERT_EQ(sink.frames.size(), 1u);
  EXPECT_EQ(sink.frames[0].source, "Strangers");
  EXPECT_EQ(sink.reports.size(), 1u);
}

TEST_F(InboundHello, IsRefusedFromAProcessOutOfSight) {
  const RawClient client = connect();
  ASSERT_TRUE(client.sayHello("Sender"));
  EXPECT_TRUE(inChild([&] {
    if (unshare(CLONE_NEWPID) != 0) return;  // not permitted here
    EXPECT_TRUE(inChild([&] {
      serve();
      expectRefusedSender("a stranger (process 0, user " + std::to_string(geteuid()) + ")",
                          "it calls itself Sender, a name that is not its user's");
    }));
  }));
}

TEST_F(InboundHello, MustBeWhole) {
  const Bytes whole = encodeHello(Hello{"Sender", 1});
  for (std::size_t size = 1; size < whole.size(); size += 3) {
    const RawClient client = connect();
    ASSERT_TRUE(client.send(Bytes(whole.begin(), whole.begin() + static_cast<long>(size))));
    expectRefused(client, "no valid hello");
  }
}

TEST_F(InboundHello, MustHaveNothingBehindIt) {
  for (const std::size_t surplus : {1u, 1000u, 100000u}) {
    Bytes bytes = encodeHello(Hello{"Sender", 1});
    bytes.resize(bytes.size() + surplus);
    const RawClient client = connect();
    ASSERT_TRUE(client.send(bytes));
    expectRefused(client, "no valid hello");
  }
}

TEST_F(InboundHello, MustNotBeAFrame) {
  const RawClient client = connect();
  ASSERT_TRUE(client.send(inlinePacket({1, 2, 3})));
  expectRefused(client, "no valid hello");
  EXPECT_TRUE(sink.frames.empty());
}

TEST_F(InboundHello, MustBringNoDescriptors) {
  const NoLeaks noLeaks;
  for (const std::size_t count : {std::size_t{1}, std::size_t{2}, mostDescriptors}) {
    const RawClient client = connect();
    ASSERT_TRUE(client.send(encodeHello(Hello{"Sender", 1}), count));
    expectRefused(client, "no valid hello");
  }
}

TEST_F(InboundHello, MustBringNoForeignControlMessage) {
  const int on = 1;
  ASSERT_EQ(setsockopt(listener.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on), 0);
  const RawClient client = connect();
  ASSERT_TRUE(client.sayHello("Sender"));
  expectRefused(client, "no valid hello");
}

TEST_F(InboundHello, MayNotBeMissing) {
  const RawClient client = connect();
  ASSERT_TRUE(client.send({}));
  serve();
  EXPECT_TRUE(client.isDropped());
  EXPECT_EQ(onTime(), -1);
}

TEST_F(InboundHello, MayComeLater) {
  const RawClient client = connect();
  serve();
  EXPECT_TRUE(client.isKept());
  ASSERT_TRUE(client.sayHello("Sender"));
  serve();
  EXPECT_TRUE(client.isKept());
  EXPECT_EQ(onTime(), -1) << "nothing is awaited any more";
}

TEST_F(InboundHello, IsAwaitedForASecond) {
  EXPECT_EQ(onTime(), -1);
  const RawClient client = connect();
  serve();
  EXPECT_EQ(onTime(), 1000);
  clock.advance(999);
  EXPECT_EQ(onTime(), 1);
  EXPECT_TRUE(client.isKept());
  clock.advance(1);
  EXPECT_EQ(onTime(), -1);
  EXPECT_TRUE(client.isDropped());
  expectRefusedSender(self("a stranger"), "no hello within a second");
}

TEST_F(InboundHello, IsAwaitedNoLongerFromAClosedConnection) {
  {
    const RawClient client = connect();
    serve();
  }
  serve();
  EXPECT_EQ(onTime(), -1);
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(InboundHello, IsAwaitedFromSixteenAtATime) {
  const RawClient proven = connectAs("Sender");
  std::vector<RawClient> silent;
  for (int i = 0; i < 16; ++i) silent.push_back(connect());
  serve();
  EXPECT_TRUE(silent.front().isKept());
  EXPECT_TRUE(sink.reports.empty());

  silent.push_back(connect());
  serve();
  EXPECT_TRUE(silent.front().isDropped());
  for (std::size_t i = 1; i < silent.size(); ++i) EXPECT_TRUE(silent[i].isKept()) << i;
  EXPECT_TRUE(proven.isKept());
  expectRefusedSender(self("a stranger"), "too many connections without a hello");
}

// A callback may keep the reception thread for longer than a hello has time.
TEST_F(InboundHello, ThatCameInTimeCountsHoweverLateItIsRead) {
  const RawClient client = connect();
  serve();
  ASSERT_TRUE(client.sayHello("Sender"));
  ASSERT_TRUE(client.send(inlinePacket({7})));
  clock.advance(2000);
  EXPECT_EQ(onTime(), -1);
  serve();
  EXPECT_TRUE(client.isKept());
  EXPECT_THAT(numbers(), ElementsAre(7));
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(InboundHello, ThatCameInTimeCountsHoweverManyConnectBehindIt) {
  const RawClient client = connect();
  serve();
  ASSERT_TRUE(client.sayHello("Sender"));
  ASSERT_TRUE(client.send(inlinePacket({7})));
  std::vector<RawClient> silent;
  for (int i = 0; i < 16; ++i) silent.push_back(connect());
  sut.onListenerReady(sink);
  serve();
  EXPECT_TRUE(client.isKept());
  EXPECT_TRUE(silent.front().isKept());
  EXPECT_THAT(numbers(), ElementsAre(7));
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(InboundHello, OfTheEarlierConnectionIsReadFirst) {
  const RawClient older = connect();
  serve();
  ASSERT_TRUE(older.sayHello("Sender"));
  for (unsigned char i = 0; i < 40; ++i) ASSERT_TRUE(older.send(inlinePacket({i})));
  const RawClient newer = connect();
  ASSERT_TRUE(newer.sayHello("Sender", 2));
  ASSERT_TRUE(newer.send(inlinePacket({40})));
  sut.onListenerReady(sink);
  serve();
  EXPECT_TRUE(older.isDropped());
  EXPECT_TRUE(newer.isKept());
  ASSERT_EQ(numbers().size(), 41u);
  for (unsigned int i = 0; i <= 40; ++i) EXPECT_EQ(numbers()[i], i);
}

TEST_F(InboundHello, EndsAnEarlierConnectionOfThatNameAfterItsLastFrames) {
  const RawClient older = connectAs("Sender");
  for (unsigned char i = 0; i < 40; ++i) ASSERT_TRUE(older.send(inlinePacket({i})));
  const RawClient newer = connect();
  ASSERT_TRUE(newer.sayHello("Sender", 2));
  ASSERT_TRUE(newer.send(inlinePacket({40})));
  sut.onListenerReady(sink);
  serve();
  EXPECT_TRUE(older.isDropped());
  EXPECT_TRUE(newer.isKept());
  ASSERT_EQ(numbers().size(), 41u);
  for (unsigned int i = 0; i <= 40; ++i) EXPECT_EQ(numbers()[i], i);
}

TEST_F(InboundHello, EndsAnEarlierConnectionThatNeverStopsSending) {
  const RawClient older = connectAs("Sender");
  ASSERT_TRUE(older.send(inlinePacket({0})));
  // One more for each that is taken.
  sink.hook = [&] { older.send(inlinePacket({1})); };
  const RawClient newer = connect();
  ASSERT_TRUE(newer.sayHello("Sender", 2));
  sut.onListenerReady(sink);
  EXPECT_THAT(numbers(), ElementsAre(0));
  EXPECT_TRUE(older.isDropped());
}

TEST_F(InboundHello, EndsNoConnectionOfAnotherName) {
  giveName(directory, "Other");
  const RawClient first = connectAs("Sender");
  const RawClient second = connectAs("Other");
  EXPECT_TRUE(first.isKept());
  EXPECT_TRUE(second.isKept());
}

}  // namespace
}  // namespace velp::test
