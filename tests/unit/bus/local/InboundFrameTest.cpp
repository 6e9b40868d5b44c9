// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What a proven sender may send, and what ends its connection.
#include <sys/mman.h>

#include <cerrno>

#include "bus/local/PacketHeader.h"
#include "bus/local/SealedMemory.h"
#include "unit/bus/local/InboundFixture.h"
#include "unit/bus/local/systemCalls.h"

namespace velp::test {
namespace {

constexpr const char* tooMuch = "a packet that is too long, or has too many descriptors";
constexpr const char* wrongNumber = "a wrong number of descriptors";
constexpr const char* noHeader = "a packet without a valid header";
constexpr const char* otherLength = "a packet of another length than it says";

class InboundFrame : public InboundFixture {
 protected:
  // Sends the packet on a connection of its own, which must end with this report and no leak.
  void expectDropped(const Bytes& packet, const std::string& text, std::size_t count = 0,
                     int descriptor = 0) {
    const NoLeaks noLeaks;
    clock.advance(1000);  // so that no report is held back
    const RawClient client = connectAs("Sender");
    ASSERT_TRUE(client.send(packet, count, descriptor));
    serve();
    EXPECT_TRUE(client.isDropped());
    expectReport(STATUS_FRAME_REFUSED, "dropped the connection of " + self("Sender") + ": " + text);
    EXPECT_TRUE(sink.frames.empty());
  }
};

TEST_F(InboundFrame, IsTakenAtAnySize) {
  const RawClient client = connectAs("Sender");
  for (const std::size_t size : {0u, 1u, 69632u}) {
    sink.frames.clear();
    const Bytes frame(size, 'x');
    ASSERT_TRUE(client.send(inlinePacket(frame)));
    serve();
    ASSERT_EQ(sink.frames.size(), 1u);
    EXPECT_TRUE(sink.frames[0].bytes == frame);
  }
}

TEST_F(InboundFrame, IsTakenFromASealedMemoryFile) {
  const RawClient client = connectAs("Sender");
  for (const std::size_t size : {1u, 69633u, 16777216u}) {
    const NoLeaks noLeaks;
    sink.frames.clear();
    const Bytes frame(size, 'x');
    const BusFd memory = createSealedMemory(frame.data(), frame.size());
    ASSERT_TRUE(client.send(largePacket(size), 1, memory.get()));
    serve();
    ASSERT_EQ(sink.frames.size(), 1u);
    EXPECT_EQ(sink.frames[0].source, "Sender");
    EXPECT_TRUE(sink.frames[0].bytes == frame);
  }
  EXPECT_TRUE(client.isKept());
}

TEST_F(InboundFrame, NeedsItsHeader) {
  expectDropped({1}, noHeader);
  expectDropped({1, 0, 0, 0, 0, 0, 0}, noHeader);
  expectDropped({2, 0, 0, 0, 0, 0, 0, 0}, noHeader);
  expectDropped({1, 2, 0, 0, 0, 0, 0, 0}, noHeader);
  expectDropped({1, 0, 1, 0, 0, 0, 0, 0}, noHeader);
  expectDropped({1, 0, 0, 1, 0, 0, 0, 0}, noHeader);
}

TEST_F(InboundFrame, MustHaveTheLengthItSays) {
  expectDropped({1, 0, 0, 0, 0, 0, 0, 3, 0xAA, 0xBB}, otherLength);
  expectDropped({1, 0, 0, 0, 0, 0, 0, 3, 0xAA, 0xBB, 0xCC, 0xDD}, otherLength);
  expectDropped({1, 0, 0, 0, 0xff, 0xff, 0xff, 0xff}, otherLength);
}

TEST_F(InboundFrame, MustNotStandInThePacketWhenItIsLarge) {
  const BusFd memory = createSealedMemory(Bytes(3).data(), 3);
  Bytes packet = largePacket(3);
  packet.insert(packet.end(), {1, 2, 3});
  expectDropped(packet, otherLength, 1, memory.get());
}

TEST_F(InboundFrame, MustNotBeLongerThanAnInlineOneMayBe) {
  expectDropped(inlinePacket(Bytes(69633)), tooMuch);
  expectDropped(inlinePacket(Bytes(150000)), tooMuch);
}

TEST_F(InboundFrame, MustBringADescriptorWhenItIsLarge) {
  expectDropped(largePacket(100), wrongNumber);
}

TEST_F(InboundFrame, MustBringNoneWhenItIsNot) {
  expectDropped(inlinePacket({1}), wrongNumber, 1);
}

TEST_F(InboundFrame, MustBringOnlyOne) {
  const BusFd memory = createSealedMemory(Bytes(3).data(), 3);
  // Some systems have room for a second one where one fits.
  const std::string second =
      CMSG_SPACE(sizeof(int)) == CMSG_SPACE(2 * sizeof(int)) ? wrongNumber : tooMuch;
  expectDropped(largePacket(3), second, 2, memory.get());
  expectDropped(inlinePacket({1}), second, 2, memory.get());
  for (std::size_t count = 3; count <= mostDescriptors; ++count) {
    expectDropped(largePacket(3), tooMuch, count, memory.get());
  }
}

TEST_F(InboundFrame, MustBeInASealedMemoryFileOfItsSize) {
  const BusFd memory = createSealedMemory(Bytes(100).data(), 100);
  expectDropped(largePacket(99), "its large message has another size than its packet says", 1,
                memory.get());
  expectDropped(largePacket(0xffffffff), "its large message is larger than any message may be", 1,
                memory.get());
  const BusFd unsealed(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  expectDropped(largePacket(0), "its large message is not fully sealed", 1, unsealed.get());
  expectDropped(largePacket(100), "its large message is not a memory file", 1, listener.get());
}

TEST_F(InboundFrame, MustBringNoForeignControlMessage) {
  const std::size_t before = countDescriptors();
  const RawClient client = connect();
  // The number that the accepted connection is going to have.
  const int accepted = dup(STDERR_FILENO);
  ::close(accepted);
  ASSERT_TRUE(client.sayHello("Sender"));
  serve();
  ASSERT_EQ(countDescriptors(), before + 2);
  const int on = 1;
  ASSERT_EQ(setsockopt(accepted, SOL_SOCKET, SO_PASSCRED, &on, sizeof on), 0);
  ASSERT_TRUE(client.send(inlinePacket({1})));
  serve();
  EXPECT_TRUE(client.isDropped());
  expectReport(STATUS_FRAME_REFUSED, "dropped the connection of " + self("Sender") +
                                         ": a control message that has no place here");
}

TEST_F(InboundFrame, EndsTheConnectionWhenItIsEmpty) {
  const NoLeaks noLeaks;
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}, mostDescriptors}) {
    const RawClient client = connectAs("Sender");
    ASSERT_TRUE(client.send({}, count));
    serve();
    EXPECT_TRUE(client.isDropped());
    EXPECT_TRUE(sink.frames.empty());
  }
}

TEST_F(InboundFrame, IsDroppedAloneWhenItIsNoMessage) {
  sink.accepts = false;
  const RawClient client = connectAs("Sender");
  ASSERT_TRUE(client.send(inlinePacket({1})));
  serve();
  EXPECT_TRUE(client.isKept());
  expectReport(STATUS_FRAME_REFUSED,
               "refused a frame from " + self("Sender") + ": it is no message");
  sink.accepts = true;
  ASSERT_TRUE(client.send(inlinePacket({2})));
  serve();
  EXPECT_EQ(sink.frames.size(), 2u);
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(InboundFrame, IsTakenBeforeTheFaultBehindIt) {
  const RawClient client = connectAs("Sender");
  ASSERT_TRUE(client.send(inlinePacket({1})));
  ASSERT_TRUE(client.send({9}));
  ASSERT_TRUE(client.send(inlinePacket({2})));
  serve();
  EXPECT_EQ(numbers(), (std::vector<unsigned int>{1}));
  EXPECT_TRUE(client.isDropped());
}

TEST_F(InboundFrame, IsTakenFromASenderThatHasDied) {
  {
    const RawClient client = connectAs("Sender");
    ASSERT_TRUE(client.send(inlinePacket({1})));
    ASSERT_TRUE(client.send(inlinePacket({2})));
  }
  serve();
  EXPECT_EQ(numbers(), (std::vector<unsigned int>{1, 2}));
  EXPECT_TRUE(sink.reports.empty());
}

TEST_F(InboundFrame, WaitsForItsTurn) {
  const RawClient client = connectAs("Sender");
  for (unsigned char i = 0; i < 40; ++i) ASSERT_TRUE(client.send(inlinePacket({i})));
  EXPECT_EQ(serveOnce(), 1);
  EXPECT_EQ(sink.frames.size(), 32u);
  EXPECT_EQ(serveOnce(), 1);
  EXPECT_EQ(sink.frames.size(), 40u);
}

TEST_F(InboundFrame, ComesFromNoConnectionThatHasEnded) {
  sut.onConnectionReady(12345, sink);
  EXPECT_TRUE(sink.frames.empty());
}

TEST_F(InboundFrame, IsDroppedWhenThereIsNoRoomForItsDescriptor) {
  const RawClient client = connectAs("Sender");
  const BusFd memory = createSealedMemory(Bytes(100).data(), 100);
  ASSERT_TRUE(client.send(largePacket(100), 1, memory.get()));
  epoll_event event = {};
  ASSERT_EQ(epoll_wait(epoll.get(), &event, 1, 0), 1);
  const std::uint64_t id = event.data.u64;
  Inbound& inbound = sut;
  RecordingSink& target = sink;
  {
    const NoMoreDescriptors noMore;
    inbound.onConnectionReady(id, target);
  }
  reports.hand(sink);
  EXPECT_TRUE(client.isDropped());
  expectReport(STATUS_FRAME_REFUSED,
               "dropped the connection of " + self("Sender") + ": " + tooMuch);
}

}  // namespace
}  // namespace velp::test
