// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Connections are opened, used, lost and opened again without anybody waiting.
#include "bus/local/Outbound.h"

#include <gmock/gmock.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <optional>
#include <thread>

#include "bus/local/PacketHeader.h"
#include "bus/local/receivePacket.h"
#include "support/Latch.h"
#include "unit/bus/local/rawPackets.h"
#include "unit/bus/local/systemCalls.h"
#include "velp/bus/StatusCode.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

class OutboundTest : public LocalBus {
 protected:
  OutboundTest() { giveName(directory, "Receiver"); }

  bool send(const Bytes& frame) { return sut.send("Receiver", frame.data(), frame.size()); }
  BusFd accept() const { return BusFd(accept4(listener->get(), nullptr, nullptr, SOCK_CLOEXEC)); }
  /// What is in the connection's queue.
  static std::vector<Bytes> packets(const BusFd& connection) {
    SingleReader reader;
    ReceivedPacket packet;
    std::vector<Bytes> all;
    while (reader.receive(connection.get(), packet) == ReceiveResult::packet) {
      all.emplace_back(packet.bytes, packet.bytes + packet.size);
    }
    return all;
  }
  /// Takes what the reception thread would be woken for, and returns its id, or 0.
  std::uint64_t hangUp() const {
    epoll_event event = {};
    return epoll_wait(epoll.get(), &event, 1, 0) == 1 ? std::uint64_t{event.data.u64} : 0;
  }
  std::vector<int> codes() {
    RecordingSink sink;
    reports.hand(sink);
    std::vector<int> all;
    for (const RecordingSink::Report& report : sink.reports) {
      all.push_back(report.code);
      texts.push_back(report.text);
    }
    return all;
  }

  const Hello hello{"Sender", 0x0102030405060708};
  const Bytes greeting = encodeHello(hello);
  std::optional<BusFd> listener{listenAt(directory, "Receiver")};
  const BusFd epoll{epoll_create1(EPOLL_CLOEXEC)};
  ReportQueue reports;
  std::vector<std::string> texts;
  Outbound sut{directory, hello, reports, epoll.get()};
};

TEST_F(OutboundTest, SaysHelloFirstAndKeepsTheConnection) {
  ASSERT_TRUE(send({1}));
  ASSERT_TRUE(send({2}));
  const BusFd connection = accept();
  EXPECT_THAT(packets(connection), ElementsAre(greeting, inlinePacket({1}), inlinePacket({2})));
  EXPECT_FALSE(accept());
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, SendsLargeFramesToo) {
  ASSERT_TRUE(send(Bytes(69633)));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, largePacket(69633)));
}

TEST_F(OutboundTest, FindsNobodyWithoutASocket) {
  const NoLeaks noLeaks;
  EXPECT_FALSE(sut.send("Nobody", greeting.data(), greeting.size()));
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, FindsNobodyBehindADeadSocket) {
  listener.reset();
  const NoLeaks noLeaks;
  EXPECT_FALSE(send({1}));
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, DoesNotWaitForAReceiverThatAcceptsNobody) {
  ASSERT_EQ(listen(listener->get(), 0), 0);
  const RawClient first(path + "/Receiver");
  EXPECT_FALSE(send({1}));
  const BusFd accepted = accept();
  EXPECT_TRUE(send({1}));
}

TEST_F(OutboundTest, DoesNotWaitForAReceiverThatIsBehind) {
  while (send(Bytes(1000))) {
  }
  EXPECT_FALSE(send(Bytes(1000)));
  const BusFd connection = accept();
  EXPECT_GT(packets(connection).size(), 1u);
  EXPECT_TRUE(send({1})) << "on the same connection";
  EXPECT_THAT(packets(connection), ElementsAre(inlinePacket({1})));
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, GivesNothingToASocketThatIsNotTheNameOwners) {
  VELP_NEEDS_ROOT();
  giveName(directory, "Receiver", stranger);
  EXPECT_FALSE(send({1}));
  EXPECT_TRUE(packets(accept()).empty());
  EXPECT_THAT(codes(), ElementsAre(STATUS_SENDER_REFUSED));
  EXPECT_THAT(texts,
              ElementsAre("did not send to Receiver: its socket does not belong to the owner "
                          "of the name"));
}

TEST_F(OutboundTest, GivesNothingToASocketWhoseNameHasNoOwner) {
  ASSERT_EQ(unlink((path + "/Receiver.lock").c_str()), 0);
  EXPECT_FALSE(send({1}));
  EXPECT_TRUE(packets(accept()).empty());
  EXPECT_THAT(codes(), ElementsAre(STATUS_SENDER_REFUSED));
}

TEST_F(OutboundTest, GivesNothingToASocketOfWhichTheSystemTellsNothing) {
  const FailingCall failing(Call::getsockopt, {ENOBUFS});
  EXPECT_FALSE(send({1}));
  EXPECT_TRUE(packets(accept()).empty());
}

TEST_F(OutboundTest, FailsWithoutASocketOfItsOwn) {
  const FailingCall failing(Call::socket, {EMFILE});
  EXPECT_FALSE(send({1}));
  EXPECT_TRUE(send({1}));
}

TEST_F(OutboundTest, GoesOnConnectingAfterInterruptions) {
  const FailingCall interrupted(Call::connect, {EINTR, EINTR});
  EXPECT_TRUE(send({1}));
  EXPECT_EQ(interrupted.calls(), 3u);
}

TEST_F(OutboundTest, FailsWhenItsHelloIsNotTaken) {
  const NoLeaks noLeaks;
  for (const int code : {EAGAIN, EPIPE}) {
    const FailingCall failing(Call::send, {code});
    EXPECT_FALSE(send({1}));
    EXPECT_TRUE(packets(accept()).empty());
    EXPECT_EQ(failing.calls(), 1u);
  }
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, WorksWithoutRoomInEpoll) {
  const FailingCall failing(Call::epoll_ctl, {ENOSPC});
  ASSERT_TRUE(send({1}));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, inlinePacket({1})));
  EXPECT_EQ(hangUp(), 0u);
  // The next send notices the end instead.
  EXPECT_TRUE(send({2}));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, inlinePacket({2})));
}

TEST_F(OutboundTest, OpensALostConnectionAgainForThePacketThatMeetsItsEnd) {
  ASSERT_TRUE(send({1}));
  accept().reset();
  ASSERT_TRUE(send({2}));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, inlinePacket({2})));
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_LOST, STATUS_LINK_BACK));
  EXPECT_THAT(texts, ElementsAre("link to Receiver is lost: its process has ended, or dropped it",
                                 "link to Receiver is back"));
}

TEST_F(OutboundTest, OpensALostConnectionAgainOnce) {
  ASSERT_TRUE(send({1}));
  // The frame, the new connection's hello, and the frame there.
  const FailingCall failing(Call::send, {EPIPE, 0, EPIPE});
  EXPECT_FALSE(send({2}));
  EXPECT_EQ(failing.calls(), 3u);
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_LOST, STATUS_LINK_BACK, STATUS_LINK_LOST));
}

TEST_F(OutboundTest, ReportsADeadReceiverOnce) {
  ASSERT_TRUE(send({1}));
  listener.reset();
  EXPECT_FALSE(send({2}));
  EXPECT_FALSE(send({3}));
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_LOST));
}

TEST_F(OutboundTest, ReportsADeadReceiversReturn) {
  ASSERT_TRUE(send({1}));
  listener.reset();
  EXPECT_FALSE(send({2}));
  ASSERT_EQ(unlink((path + "/Receiver").c_str()), 0);
  listener = listenAt(directory, "Receiver");
  EXPECT_TRUE(send({3}));
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_LOST, STATUS_LINK_BACK));
}

TEST_F(OutboundTest, ReportsNothingOfAReceiverThatLeft) {
  ASSERT_TRUE(send({1}));
  ASSERT_EQ(unlink((path + "/Receiver").c_str()), 0);
  listener.reset();
  EXPECT_FALSE(send({2}));
  listener = listenAt(directory, "Receiver");
  EXPECT_TRUE(send({3}));
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, HearsOfADeathWithoutSending) {
  ASSERT_TRUE(send({1}));
  EXPECT_EQ(hangUp(), 0u);
  accept().reset();
  const std::uint64_t id = hangUp();
  EXPECT_NE(id & Outbound::idFlag, 0u);
  sut.onHangUp(id);
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_LOST));
  EXPECT_EQ(hangUp(), 0u) << "it would be woken for ever";
  sut.onHangUp(id);
  EXPECT_TRUE(codes().empty());
  EXPECT_TRUE(send({2}));
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_BACK));
}

TEST_F(OutboundTest, HearsOfALeavingWithoutSending) {
  ASSERT_TRUE(send({1}));
  ASSERT_EQ(unlink((path + "/Receiver").c_str()), 0);
  listener.reset();
  const std::size_t before = countDescriptors();
  sut.onHangUp(hangUp());
  EXPECT_EQ(countDescriptors(), before - 1);
  EXPECT_EQ(hangUp(), 0u);
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, IgnoresTheEndOfWhatIsNotThere) {
  sut.onHangUp(Outbound::idFlag | 77);
  EXPECT_TRUE(codes().empty());
}

TEST_F(OutboundTest, KeepsAConnectionThatASenderHasOpenedAgainMeanwhile) {
  ASSERT_TRUE(send({1}));
  accept().reset();
  const std::uint64_t id = hangUp();
  {
    // The table of ids, that of connections, and then the connection's own lock.
    int locks = 0;
    const CallHook meanwhile(Call::pthread_mutex_lock, [&] {
      if (++locks == 3) {
        EXPECT_TRUE(send({2}));
      }
      return 0;
    });
    sut.onHangUp(id);
    EXPECT_EQ(locks, 3);
  }
  EXPECT_TRUE(send({3}));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, inlinePacket({2}), inlinePacket({3})));
  EXPECT_FALSE(accept());
  EXPECT_THAT(codes(), ElementsAre(STATUS_LINK_LOST, STATUS_LINK_BACK));
}

TEST_F(OutboundTest, KeepsTheConnectionThatHasComeAfterOneGivenUp) {
  ASSERT_TRUE(send({1}));
  ASSERT_EQ(unlink((path + "/Receiver").c_str()), 0);
  listener.reset();
  const std::uint64_t id = hangUp();
  {
    int locks = 0;
    const CallHook meanwhile(Call::pthread_mutex_lock, [&] {
      if (++locks != 3) return 0;
      EXPECT_FALSE(send({2})) << "it gives the connection up";
      listener = listenAt(directory, "Receiver");
      EXPECT_TRUE(send({3}));
      return 0;
    });
    sut.onHangUp(id);
  }
  EXPECT_TRUE(send({4}));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, inlinePacket({3}), inlinePacket({4})));
  EXPECT_FALSE(accept());
}

TEST_F(OutboundTest, LeavesAConnectionThatAnotherSenderHasGivenUp) {
  Latch waiting;
  std::thread other;
  {
    const CallHook refused(Call::connect, [&] {
      other = std::thread([&] {
        // The table, and then the lock that the first sender holds.
        int locks = 0;
        const CallHook counter(Call::pthread_mutex_lock, [&] {
          if (++locks == 2) waiting.arrive();
          return 0;
        });
        EXPECT_TRUE(send({2}));
      });
      EXPECT_TRUE(waiting.waitFor());
      return ECONNREFUSED;
    });
    EXPECT_FALSE(send({1}));
  }
  other.join();
  EXPECT_TRUE(send({3}));
  EXPECT_THAT(packets(accept()), ElementsAre(greeting, inlinePacket({2}), inlinePacket({3})));
  EXPECT_FALSE(accept()) << "the other sender's connection was not in the table";
}

TEST_F(OutboundTest, KeepsTheOrderOfEachOfManySenders) {
  constexpr unsigned char senders = 3;
  constexpr unsigned char frames = 50;
  std::vector<std::thread> threads;
  for (unsigned char sender = 0; sender < senders; ++sender) {
    threads.emplace_back([this, sender] {
      for (unsigned char i = 0; i < frames; ++i) EXPECT_TRUE(send({sender, i}));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<Bytes> all = packets(accept());
  ASSERT_EQ(all.size(), 1u + senders * frames);
  std::array<unsigned char, senders> next = {};
  for (std::size_t i = 1; i < all.size(); ++i) {
    const unsigned char sender = all[i].at(PacketHeader::size);
    EXPECT_EQ(all[i].at(PacketHeader::size + 1), next.at(sender)++);
  }
}

}  // namespace
}  // namespace velp::test
