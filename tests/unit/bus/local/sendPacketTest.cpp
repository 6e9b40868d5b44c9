// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A packet is taken at once or not at all, whatever its size and the receiver's state.
#include "bus/local/sendPacket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "bus/local/PacketHeader.h"
#include "bus/local/SealedMemory.h"
#include "bus/local/receivePacket.h"
#include "unit/bus/local/rawPackets.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

Bytes someFrame(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
  return bytes;
}

// How a frame of a size goes: copied behind its header, beside it, or as a memory file.
struct Road {
  std::size_t size;
  Call call;
};
constexpr std::array<Road, 3> roads{
    {{1024, Call::send}, {1025, Call::sendmsg}, {69633, Call::sendmsg}}};

class SendPacket : public testing::Test {
 protected:
  SendResult send(const Bytes& frame) {
    return sendFrame(pair.left.get(), frame.data(), frame.size());
  }
  void expectInline(const Bytes& frame) {
    ASSERT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::packet);
    EXPECT_TRUE(Bytes(packet.bytes, packet.bytes + packet.size) == inlinePacket(frame));
    EXPECT_TRUE(packet.fds.empty());
  }
  void expectLarge(const Bytes& frame) {
    ASSERT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::packet);
    EXPECT_EQ(Bytes(packet.bytes, packet.bytes + packet.size), largePacket(frame.size()));
    ASSERT_EQ(packet.fds.size(), 1u);
    Bytes content;
    std::string reason;
    EXPECT_TRUE(readSealedMemory(packet.fds.front().get(), frame.size(), content, reason))
        << reason;
    EXPECT_TRUE(content == frame);
    packet = ReceivedPacket();
  }
  void fillQueue() {
    while (send(Bytes(1000)) == SendResult::sent) {
    }
  }

  SocketPair pair;
  SingleReader reader;
  ReceivedPacket packet;
};

TEST_F(SendPacket, PutsBytesAsTheyAre) {
  const Bytes bytes{1, 2, 3};
  ASSERT_EQ(sendBytes(pair.left.get(), bytes.data(), bytes.size()), SendResult::sent);
  ASSERT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::packet);
  EXPECT_EQ(Bytes(packet.bytes, packet.bytes + packet.size), bytes);
}

TEST_F(SendPacket, PutsAFrameBehindItsHeaderAsDocumented) {
  ASSERT_EQ(send({0xAA, 0xBB, 0xCC}), SendResult::sent);
  ASSERT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::packet);
  EXPECT_EQ(Bytes(packet.bytes, packet.bytes + packet.size),
            (Bytes{0x01, 0, 0, 0, 0, 0, 0, 0x03, 0xAA, 0xBB, 0xCC}));
}

TEST_F(SendPacket, KeepsFramesInlineUpTo68KiB) {
  for (const std::size_t size : {0u, 1u, 1023u, 1024u, 1025u, 69631u, 69632u}) {
    const Bytes frame = someFrame(size);
    ASSERT_EQ(send(frame), SendResult::sent);
    expectInline(frame);
  }
}

TEST_F(SendPacket, PutsLargerFramesIntoMemoryFiles) {
  const NoLeaks noLeaks;
  for (const std::size_t size : {69633u, 1000000u, 16777216u}) {
    const Bytes frame = someFrame(size);
    ASSERT_EQ(send(frame), SendResult::sent);
    expectLarge(frame);
  }
}

TEST_F(SendPacket, PutsAFrameIntoAMemoryFileWhenTheSocketsBufferIsSmall) {
  const NoLeaks noLeaks;
  const int small = 4096;
  ASSERT_EQ(setsockopt(pair.left.get(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small), 0);
  const Bytes frame = someFrame(65536);
  ASSERT_EQ(send(frame), SendResult::sent);
  expectLarge(frame);
  ASSERT_EQ(send({1}), SendResult::sent);
  expectInline({1});
}

TEST_F(SendPacket, DoesNotWaitForAReceiverThatIsBehind) {
  fillQueue();
  EXPECT_EQ(send(Bytes(1000)), SendResult::notTaken);
  EXPECT_EQ(sendBytes(pair.left.get(), Bytes(1000).data(), 1000), SendResult::notTaken);
  ASSERT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::packet);
  EXPECT_EQ(send(Bytes(1000)), SendResult::sent);
}

TEST_F(SendPacket, LeaksNoMemoryFileThatIsNotTaken) {
  const NoLeaks noLeaks;
  fillQueue();
  for (const int code : {EAGAIN, ETOOMANYREFS, EPIPE}) {
    const FailingCall failing(Call::sendmsg, {code});
    EXPECT_NE(send(Bytes(69633)), SendResult::sent);
  }
}

TEST_F(SendPacket, TellsThatTheReceiverIsGone) {
  pair.right.reset();
  EXPECT_EQ(send({1}), SendResult::gone);
  EXPECT_EQ(send(Bytes(69633)), SendResult::gone);
  EXPECT_EQ(sendBytes(pair.left.get(), Bytes(1).data(), 1), SendResult::gone);
}

TEST_F(SendPacket, TellsTheEndOfAConnectionFromWantOfRoom) {
  const auto expectOfEach = [this](const Road& road, SendResult expected, int code) {
    const FailingCall failing(road.call, {code});
    EXPECT_EQ(send(Bytes(road.size)), expected) << road.size << " bytes, " << code;
  };
  for (const Road& road : roads) {
    for (const int code : {EPIPE, ECONNRESET, ECONNREFUSED, ENOTCONN}) {
      expectOfEach(road, SendResult::gone, code);
    }
    for (const int code : {EAGAIN, ENOBUFS, ENOMEM, ETOOMANYREFS, EPERM, EACCES, EIO}) {
      expectOfEach(road, SendResult::notTaken, code);
    }
  }
}

TEST_F(SendPacket, GoesOnAfterInterruptions) {
  for (const Road& road : roads) {
    const FailingCall interrupted(road.call, {EINTR, EINTR});
    const Bytes frame = someFrame(road.size);
    EXPECT_EQ(send(frame), SendResult::sent);
    EXPECT_EQ(interrupted.calls(), 3u);
    road.size > maxInlineFrame ? expectLarge(frame) : expectInline(frame);
    EXPECT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::nothingNow) << "sent twice";
  }
}

TEST_F(SendPacket, GivesUpWhenEvenAMemoryFileDoesNotFit) {
  const NoLeaks noLeaks;
  const FailingCall packet(Call::send, {EMSGSIZE});
  const FailingCall file(Call::sendmsg, {EMSGSIZE});
  EXPECT_EQ(send({1}), SendResult::notTaken);
  EXPECT_EQ(packet.calls(), 1u);
  EXPECT_EQ(file.calls(), 1u);
}

TEST_F(SendPacket, GivesUpWithoutAMemoryFile) {
  const NoLeaks noLeaks;
  const FailingCall failing(Call::memfd_create, {EMFILE});
  EXPECT_EQ(send(Bytes(69633)), SendResult::notTaken);
  EXPECT_EQ(reader.receive(pair.right.get(), packet), ReceiveResult::nothingNow);
}

}  // namespace
}  // namespace velp::test
