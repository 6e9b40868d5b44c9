// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Every packet is taken whole or known to be cut, and no descriptor stays behind.
#include "bus/local/receivePacket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>

#include "bus/local/PacketHeader.h"
#include "unit/bus/local/rawPackets.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

class ReceivePacket : public testing::Test {
 protected:
  ReceiveResult receive() { return sut.receive(pair.right.get(), packet); }
  Bytes bytes() const { return Bytes(packet.bytes, packet.bytes + packet.size); }

  SocketPair pair;
  SingleReader sut;
  ReceivedPacket packet;
};

TEST_F(ReceivePacket, FindsNothingWithoutWaiting) {
  EXPECT_EQ(receive(), ReceiveResult::nothingNow);
}

TEST_F(ReceivePacket, TakesPacketsOneByOne) {
  ASSERT_TRUE(sendRaw(pair.left.get(), {1, 2, 3}));
  ASSERT_TRUE(sendRaw(pair.left.get(), {4}));
  ASSERT_EQ(receive(), ReceiveResult::packet);
  EXPECT_EQ(bytes(), (Bytes{1, 2, 3}));
  EXPECT_TRUE(packet.fds.empty());
  EXPECT_FALSE(packet.truncated);
  EXPECT_FALSE(packet.foreignControl);
  ASSERT_EQ(receive(), ReceiveResult::packet);
  EXPECT_EQ(bytes(), (Bytes{4}));
  EXPECT_EQ(receive(), ReceiveResult::nothingNow);
}

TEST_F(ReceivePacket, TakesTheLongestAndKnowsALongerOne) {
  constexpr std::size_t longest = PacketHeader::size + maxInlineFrame;
  for (const std::size_t surplus : {0u, 1u, 1000u, 100000u}) {
    ASSERT_TRUE(sendRaw(pair.left.get(), Bytes(longest + surplus, 'x')));
    ASSERT_EQ(receive(), ReceiveResult::packet);
    EXPECT_EQ(packet.size, longest);
    EXPECT_EQ(packet.truncated, surplus != 0);
  }
}

TEST_F(ReceivePacket, OwnsADescriptorAndKeepsItFromPrograms) {
  const NoLeaks noLeaks;
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}, 1));
  ASSERT_EQ(receive(), ReceiveResult::packet);
  ASSERT_EQ(packet.fds.size(), 1u);
  EXPECT_FALSE(packet.truncated);
  EXPECT_NE(fcntl(packet.fds.front().get(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(receive(), ReceiveResult::nothingNow);
  EXPECT_TRUE(packet.fds.empty());
}

TEST_F(ReceivePacket, NeverLosesSightOfSurplusDescriptors) {
  const NoLeaks noLeaks;
  for (std::size_t count = 2; count <= mostDescriptors; ++count) {
    ASSERT_TRUE(sendRaw(pair.left.get(), {1}, count));
    ASSERT_EQ(receive(), ReceiveResult::packet);
    EXPECT_TRUE(packet.truncated || packet.fds.size() == count) << count;
    EXPECT_LE(packet.fds.size(), 2u);
  }
  packet = ReceivedPacket();
}

TEST_F(ReceivePacket, KnowsADescriptorThatItHadNoRoomFor) {
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}, 1));
  const int fd = pair.right.get();
  SingleReader reader;
  ReceivedPacket cut;
  ReceiveResult result = ReceiveResult::ended;
  {
    const NoMoreDescriptors noMore;
    result = reader.receive(fd, cut);
  }
  EXPECT_EQ(result, ReceiveResult::packet);
  EXPECT_TRUE(cut.truncated);
  EXPECT_TRUE(cut.fds.empty());
}

TEST_F(ReceivePacket, KnowsAForeignControlMessage) {
  const int on = 1;
  ASSERT_EQ(setsockopt(pair.right.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on), 0);
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}));
  ASSERT_EQ(receive(), ReceiveResult::packet);
  EXPECT_TRUE(packet.foreignControl);
}

TEST_F(ReceivePacket, LeaksNothingBehindAForeignControlMessage) {
  const NoLeaks noLeaks;
  const int on = 1;
  ASSERT_EQ(setsockopt(pair.right.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on), 0);
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}, 3));
  ASSERT_EQ(receive(), ReceiveResult::packet);
  EXPECT_TRUE(packet.foreignControl);
  EXPECT_TRUE(packet.truncated);
  packet = ReceivedPacket();
}

TEST_F(ReceivePacket, TakesAnEmptyOneForTheEnd) {
  ASSERT_TRUE(sendRaw(pair.left.get(), {}));
  EXPECT_EQ(receive(), ReceiveResult::ended);
}

TEST_F(ReceivePacket, OwnsTheDescriptorsOfAnEmptyOne) {
  const NoLeaks noLeaks;
  for (const std::size_t count : {std::size_t{1}, std::size_t{2}, mostDescriptors}) {
    ASSERT_TRUE(sendRaw(pair.left.get(), {}, count));
    EXPECT_EQ(receive(), ReceiveResult::ended);
  }
}

TEST_F(ReceivePacket, TakesWhatCameBeforeTheEnd) {
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}));
  pair.left.reset();
  EXPECT_EQ(receive(), ReceiveResult::packet);
  EXPECT_EQ(receive(), ReceiveResult::ended);
  EXPECT_EQ(receive(), ReceiveResult::ended);
}

TEST_F(ReceivePacket, TakesWhatCameBeforeAReset) {
  // The dying side leaves a packet unread, so its death reads as a reset, before the packets.
  ASSERT_TRUE(sendRaw(pair.right.get(), {9}));
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}));
  ASSERT_TRUE(sendRaw(pair.left.get(), {2}));
  pair.left.reset();
  ASSERT_EQ(receive(), ReceiveResult::packet);
  EXPECT_EQ(bytes(), (Bytes{1}));
  ASSERT_EQ(receive(), ReceiveResult::packet);
  EXPECT_EQ(bytes(), (Bytes{2}));
  EXPECT_EQ(receive(), ReceiveResult::ended);
}

TEST_F(ReceivePacket, EndsAtTheSecondReset) {
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}));
  const FailingCall failing(Call::recvmmsg, {ECONNRESET, ECONNRESET});
  EXPECT_EQ(receive(), ReceiveResult::ended);
  EXPECT_EQ(failing.calls(), 2u);
}

TEST_F(ReceivePacket, GoesOnAfterInterruptions) {
  ASSERT_TRUE(sendRaw(pair.left.get(), {1}));
  const FailingCall interrupted(Call::recvmmsg, {EINTR, EINTR, ECONNRESET, EINTR});
  EXPECT_EQ(receive(), ReceiveResult::packet);
  EXPECT_EQ(interrupted.calls(), 5u);
}

TEST_F(ReceivePacket, EndsAtAnyOtherError) {
  const BusFd unconnected(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  EXPECT_EQ(sut.receive(unconnected.get(), packet), ReceiveResult::ended);
  EXPECT_EQ(sut.receive(-1, packet), ReceiveResult::ended);
}

class ReceivePackets : public testing::Test {
 protected:
  /// The first bytes of what one call brings.
  std::string receive(std::size_t limit = PacketReader::most) {
    PacketReader::Packets packets;
    goesOn = sut.receive(pair.right.get(), limit, packets);
    std::string firsts;
    for (const ReceivedPacket& packet : packets) {
      firsts.push_back(static_cast<char>(packet.bytes[0]));
    }
    return firsts;
  }
  void send(const std::string& firsts) {
    for (const char first : firsts) {
      ASSERT_TRUE(sendRaw(pair.left.get(), {static_cast<unsigned char>(first), 'x'}));
    }
  }

  SocketPair pair;
  PacketReader sut;
  bool goesOn = false;
};

TEST_F(ReceivePackets, TakesAllThereAreInOneCall) {
  send("abc");
  const FailingCall counted(Call::recvmmsg, {});
  EXPECT_EQ(receive(), "abc");
  EXPECT_TRUE(goesOn);
  EXPECT_EQ(counted.calls(), 1u);
}

TEST_F(ReceivePackets, TakesNoMoreThanItsLimit) {
  send("abc");
  EXPECT_EQ(receive(2), "ab");
  EXPECT_EQ(receive(2), "c");
  EXPECT_EQ(receive(2), "");
  EXPECT_TRUE(goesOn);
}

TEST_F(ReceivePackets, TakesSixteenAtMost) {
  send("abcdefghijklmnopqr");
  EXPECT_EQ(receive(), "abcdefghijklmnop");
  EXPECT_EQ(receive(), "qr");
}

TEST_F(ReceivePackets, TellsTheEndTogetherWithWhatCameBefore) {
  send("ab");
  pair.left.reset();
  EXPECT_EQ(receive(), "ab");
  EXPECT_FALSE(goesOn);
}

TEST_F(ReceivePackets, FindsTheEndBehindAsManyAsWereAskedFor) {
  send("ab");
  pair.left.reset();
  EXPECT_EQ(receive(2), "ab");
  EXPECT_TRUE(goesOn);
  EXPECT_EQ(receive(2), "");
  EXPECT_FALSE(goesOn);
}

TEST_F(ReceivePackets, DropsWhatComesBehindAnEmptyOneWithItsDescriptors) {
  const NoLeaks noLeaks;
  send("a");
  ASSERT_TRUE(sendRaw(pair.left.get(), {}, 1));
  ASSERT_TRUE(sendRaw(pair.left.get(), {'b'}, 1));
  EXPECT_EQ(receive(), "a");
  EXPECT_FALSE(goesOn);
}

TEST_F(ReceivePackets, KeepsTheDescriptorsOfEachApart) {
  const NoLeaks noLeaks;
  send("a");
  ASSERT_TRUE(sendRaw(pair.left.get(), {'b'}, 1));
  send("c");
  PacketReader::Packets packets;
  EXPECT_TRUE(sut.receive(pair.right.get(), PacketReader::most, packets));
  ASSERT_EQ(packets.size(), 3u);
  EXPECT_TRUE(packets[0].fds.empty());
  EXPECT_EQ(packets[1].fds.size(), 1u);
  EXPECT_TRUE(packets[2].fds.empty());
}

}  // namespace
}  // namespace velp::test
