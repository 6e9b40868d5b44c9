// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Full speed, full queues, and participants that come and go meanwhile.
#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <thread>

#include "support/Latch.h"
#include "transport/TransportSuite.h"

namespace velp::test {
namespace {

using testing::ElementsAreArray;

class Threads {
 public:
  ~Threads() { join(); }
  template <typename Function>
  void start(Function function) {
    threads.emplace_back(std::move(function));
  }
  void join() {
    for (std::thread& thread : threads) thread.join();
    threads.clear();
  }

 private:
  std::vector<std::thread> threads;
};

TEST_P(Load, Of20000MessagesFromFourSendersArrivesOnceAndInOrder) {
  constexpr unsigned int each = 5000;
  Member receiver("Receiver", *bus);
  std::deque<Member> senders;
  for (const char* name : {"One", "Two", "Three", "Four"}) senders.emplace_back(name, *bus);

  Threads threads;
  for (Member& sender : senders) {
    threads.start([&sender] {
      for (unsigned int i = 0; i < each; ++i) {
        if (!sendUntilTaken(*sender, "Receiver", numbered(i))) return;
      }
    });
  }
  threads.join();

  for (Member& sender : senders) settle(sender, receiver);
  const std::vector<Received> all = receiver.recorder.messages();
  EXPECT_EQ(all.size(), 4 * each);
  for (Member& sender : senders) EXPECT_EQ(numbersFrom(sender->getName(), all), countTo(each));
}

TEST_P(Load, FromSeveralThreadsOfOneSenderArrivesOnce) {
  constexpr unsigned int each = 2000;
  Member receiver("Receiver", *bus);
  Member sender("Sender", *bus);

  Threads threads;
  for (unsigned int t = 0; t < 4; ++t) {
    threads.start([&sender, t] {
      for (unsigned int i = 0; i < each; ++i) {
        if (!sendUntilTaken(*sender, "Receiver", numbered(t * each + i))) return;
      }
    });
  }
  threads.join();

  settle(sender, receiver);
  std::vector<unsigned int> numbers = numbersFrom("Sender", receiver.recorder.messages());
  std::sort(numbers.begin(), numbers.end());
  EXPECT_EQ(numbers, countTo(4 * each));
}

// Answers every request at once, on the reception thread, whether the answer is taken or not.
void refuse(Participant& self, const Received& received) {
  if (received.message->getKind() != clientRequestKind) return;
  static_cast<void>(self.sendTo(received.source, Response()));
}

TEST_P(Load, OfTwoThatRefuseEachOthersRequestsMakesProgress) {
  constexpr unsigned int each = 5000;
  Member left("Left", *bus, refuse);
  Member right("Right", *bus, refuse);

  Threads threads;
  const auto ask = [](Member& from, const char* to) {
    for (unsigned int i = 0; i < each; ++i) {
      if (!sendUntilTaken(*from, to, numbered(i))) return;
    }
  };
  threads.start([&] { ask(left, "Right"); });
  threads.start([&] { ask(right, "Left"); });
  threads.join();

  settle(left, right);
  settle(right, left);
  EXPECT_EQ(numbersFrom("Left", right.recorder.messages()), countTo(each));
  EXPECT_EQ(numbersFrom("Right", left.recorder.messages()), countTo(each));
}

// A receiver whose callback stands still, with message 0, until it is released.
class StuckMember {
 public:
  StuckMember(const TestBus& bus, Participant& sender)
      : member("Stuck", bus, [this](Participant&, const Received&) {
          entered.arrive();
          EXPECT_TRUE(release.waitFor());
        }) {
    EXPECT_TRUE(sender.sendTo("Stuck", numbered(0)));
    EXPECT_TRUE(entered.waitFor());
  }
  ~StuckMember() { release.arrive(); }

  Latch entered;
  Latch release;
  Member member;
};

// Sends messages numbered from 1 on until one is refused; returns that one's number.
unsigned int fill(Participant& sender, std::size_t size) {
  unsigned int number = 1;
  while (number < 1000000 && sender.sendTo("Stuck", numbered(number, size))) ++number;
  return number;
}

TEST_P(Load, OfAStuckReceiverIsRefusedAndHarmsNoOther) {
  Member healthy("Healthy", *bus);
  Member sender("Sender", *bus);
  StuckMember stuck(*bus, *sender);

  const unsigned int refused = fill(*sender, 60000);
  EXPECT_GT(refused, 1u);
  EXPECT_LT(refused, 1000000u);

  settle(sender, healthy);
  settle(healthy, sender);
  EXPECT_FALSE(sender->sendTo("Stuck", numbered(refused, 60000)));
  stuck.release.arrive();
  settle(sender, stuck.member);
  EXPECT_THAT(numbersFrom("Sender", stuck.member.recorder.messages()),
              ElementsAreArray(countTo(refused)));
}

TEST_P(Load, OfAStuckReceiverIsBoundedForLargeMessagesToo) {
  Member sender("Sender", *bus);
  StuckMember stuck(*bus, *sender);

  const unsigned int refused = fill(*sender, 128 * 1024);

  EXPECT_GT(refused, 1u);
  EXPECT_LT(refused, 1000u);
  stuck.release.arrive();
  settle(sender, stuck.member);
  EXPECT_THAT(numbersFrom("Sender", stuck.member.recorder.messages()),
              ElementsAreArray(countTo(refused)));
}

// A stuck participant still sends: its own messages wait for nobody.
TEST_P(Load, OfAStuckSenderIsDelivered) {
  Member peer("Peer", *bus);
  StuckMember stuck(*bus, *peer);

  for (unsigned int i = 0; i < 100; ++i) {
    ASSERT_TRUE(sendUntilTaken(*stuck.member, "Peer", numbered(i)));
  }

  ASSERT_TRUE(peer.recorder.waitForMessages(100));
  EXPECT_EQ(numbersFrom("Stuck", peer.recorder.messages()), countTo(100));
}

TEST_P(Load, OfManyParticipantsReachesEachFromEach) {
  constexpr unsigned int count = 16;
  std::deque<Member> members;
  for (unsigned int i = 0; i < count; ++i) members.emplace_back("P" + std::to_string(i), *bus);

  for (unsigned int from = 0; from < count; ++from) {
    for (Member& to : members) {
      ASSERT_TRUE(sendUntilTaken(*members[from], to->getName(), numbered(from)));
    }
  }

  for (Member& to : members) {
    ASSERT_TRUE(to.recorder.waitForMessages(count));
    for (unsigned int from = 0; from < count; ++from) {
      EXPECT_EQ(numbersFrom("P" + std::to_string(from), to.recorder.messages()),
                std::vector<unsigned int>{from});
    }
  }
}

TEST_P(Load, LetsTheSenderLeaveAndComeBackWithoutLoss) {
  Member receiver("Receiver", *bus);
  Member sender;
  std::atomic<bool> done{false};
  std::atomic<std::size_t> taken{0};
  Threads threads;
  for (int t = 0; t < 3; ++t) {
    threads.start([&] {
      while (!done) {
        if (sender->sendTo("Receiver", numbered(1))) {
          ++taken;
        } else {
          std::this_thread::yield();
        }
      }
    });
  }

  for (int round = 0; round < 50; ++round) {
    const std::size_t before = taken;
    sender->connect("Sender", bus->address());
    while (taken == before) std::this_thread::yield();
    sender->disconnect();
    EXPECT_FALSE(sender->sendTo("Receiver", numbered(1)));
  }
  done = true;
  threads.join();

  sender->connect("Sender", bus->address());
  settle(sender, receiver);
  EXPECT_EQ(receiver.recorder.count(), taken);
}

TEST_P(Load, KeepsOrderAndAtMostOnceWhileTheReceiverComesAndGoes) {
  Member receiver("Receiver", *bus);
  Member sender("Sender", *bus);
  std::atomic<bool> done{false};
  Threads threads;
  threads.start([&] {
    for (unsigned int i = 0; !done; ++i) {
      if (!sender->sendTo("Receiver", numbered(i))) std::this_thread::yield();
    }
  });

  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(receiver.recorder.waitForMessages(receiver.recorder.count() + 1));
    receiver->disconnect();
    receiver->connect("Receiver", bus->address());
  }
  done = true;
  threads.join();

  settle(sender, receiver);
  const std::vector<unsigned int> numbers = numbersFrom("Sender", receiver.recorder.messages());
  EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()),
            numbers.end());
}

TEST_P(Load, LetsCallbacksBeAddedAndDestroyed) {
  Member receiver("Receiver", *bus);
  Member sender("Sender", *bus);
  std::atomic<bool> done{false};
  Threads threads;
  threads.start([&] {
    while (!done) {
      if (!sender->sendTo("Receiver", numbered(1))) std::this_thread::yield();
    }
  });

  for (int round = 0; round < 200; ++round) {
    Recorder sut;
    receiver->setRxFilter(sut, {clientRequestKind});
    receiver->setCallBack(sut);
    EXPECT_TRUE(sut.waitForMessages(1));
    receiver->removeCallBack(sut);
  }
  done = true;
}

}  // namespace
}  // namespace velp::test
