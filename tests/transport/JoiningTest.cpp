// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Joining, leaving, and the reception thread between the two.
#include <pthread.h>
#include <signal.h>

#include <array>
#include <cerrno>
#include <thread>

#include "support/Latch.h"
#include "transport/TransportSuite.h"
#include "velp/bus/StatusCode.h"
#include "velp/runtime/VelException.h"

namespace velp::test {
namespace {

template <typename Function>
int errorOf(const Function& function) {
  try {
    function();
  } catch (const VelException& e) {
    return e.getErrorCode();
  }
  return 0;
}

TEST_P(Joining, IsReported) {
  Member sut("Name", *bus);

  ASSERT_TRUE(sut.recorder.waitForReport(STATUS_JOINED));
  const Report report = sut.recorder.reports(STATUS_JOINED).front();
  EXPECT_EQ(report.type, VelpBusProxyCallback::STATUS_INFORMATION);
  EXPECT_EQ(report.text, "joined " + bus->address() + " as Name");
}

TEST_P(Joining, GivesTheName) {
  Member sut;
  EXPECT_EQ(sut->getName(), "");

  sut->connect("Name", bus->address());
  EXPECT_EQ(sut->getName(), "Name");

  sut->disconnect();
  EXPECT_EQ(sut->getName(), "");
}

TEST_P(Joining, IsRefusedWhileOnABus) {
  Member sut("Name", *bus);

  EXPECT_EQ(errorOf([&] { sut->connect("Other", bus->address()); }), EISCONN);
  EXPECT_EQ(errorOf([&] { sut->connect("Name", bus->address()); }), EISCONN);

  EXPECT_EQ(sut->getName(), "Name");
  settle(sut, sut);
}

TEST_P(Joining, WorksAgainAfterLeaving) {
  Member sut("First", *bus);
  Member peer("Peer", *bus);
  settle(peer, sut);
  sut->disconnect();

  sut->connect("Second", bus->address());

  settle(peer, sut);
  EXPECT_FALSE(peer->sendTo("First", numbered(1)));
  ASSERT_TRUE(sut.recorder.waitForReport(STATUS_JOINED, 2));
}

TEST_P(Joining, KeepsCallbacksAndFilters) {
  Member peer("Peer", *bus);
  Member sut("Name", *bus);
  Recorder filtered;
  sut->setRxFilter(filtered, {clientResponseKind});
  sut->setCallBack(filtered);
  sut->disconnect();
  sut->connect("Name", bus->address());

  ASSERT_TRUE(peer->sendTo("Name", numbered(1)));
  ASSERT_TRUE(peer->sendTo("Name", Response()));

  ASSERT_TRUE(sut.recorder.waitForMessages(2));
  ASSERT_TRUE(filtered.waitForMessages(1));
  settle(peer, sut);
  EXPECT_EQ(filtered.count(), 1u);
  sut->removeCallBack(filtered);
}

TEST_P(Joining, IsUndoneTwiceWithoutHarm) {
  Member sut("Name", *bus);

  sut->disconnect();
  sut->disconnect();

  EXPECT_EQ(sut->getName(), "");
}

TEST_P(Joining, CannotBeUndoneInsideACallback) {
  int code = 0;
  std::string text;
  Member sut("Name", *bus, [&](Participant& self, const Received&) {
    try {
      self.disconnect();
    } catch (const VelException& error) {
      code = error.getErrorCode();
      text = error.what();
    }
  });
  ASSERT_TRUE(sut->sendTo("Name", numbered(1)));

  settle(sut, sut);
  EXPECT_EQ(code, EDEADLK);
  EXPECT_THAT(text, testing::HasSubstr("disconnect() inside a bus callback would wait for itself: "
                                       "call it from another thread"));
}

TEST_P(Joining, IsRefusedInsideACallback) {
  int code = 0;
  Member sut("Name", *bus, [&](Participant& self, const Received&) {
    code = errorOf([&] { self.connect("Other", "inproc:"); });
  });
  ASSERT_TRUE(sut->sendTo("Name", numbered(1)));

  settle(sut, sut);
  EXPECT_EQ(code, EISCONN);
}

TEST_P(Joining, IsRefusedInsideACallbackThatALeaverWaitsFor) {
  Latch inside;
  int joinCode = 0;
  int leaveCode = 0;
  Member sut("Name", *bus, [&](Participant& self, const Received&) {
    inside.arrive();
    // From here on the leaver holds what joining and leaving take turns by.
    while (!self.getName().empty()) std::this_thread::yield();
    joinCode = errorOf([&] { self.connect("Other", bus->address()); });
    leaveCode = errorOf([&] { self.disconnect(); });
  });
  ASSERT_TRUE(sut->sendTo("Name", numbered(1)));
  ASSERT_TRUE(inside.waitFor());

  sut->disconnect();

  EXPECT_EQ(joinCode, EISCONN);
  EXPECT_EQ(leaveCode, EDEADLK);
}

TEST_P(Joining, OfOneParticipantWorksInACallbackOfAnother) {
  Member other;
  Member sut("Name", *bus, [&](Participant&, const Received&) {
    other->connect("Other", bus->address());
    other->disconnect();
  });
  ASSERT_TRUE(sut->sendTo("Name", numbered(1)));

  settle(sut, sut);
  ASSERT_EQ(other.recorder.reports(STATUS_JOINED).size(), 1u);
}

TEST_P(Joining, StartsAThreadWithItsOwnNameAndNoSignals) {
  std::array<char, 16> name{};
  sigset_t mask;
  sigemptyset(&mask);
  Member sut("Name", *bus, [&](Participant&, const Received&) {
    pthread_getname_np(pthread_self(), name.data(), name.size());
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  });
  ASSERT_TRUE(sut->sendTo("Name", numbered(1)));

  settle(sut, sut);
  EXPECT_STREQ(name.data(), "velp-bus");
  for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGCHLD, SIGUSR1, SIGPIPE}) {
    EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
  }
}

TEST_P(Joining, CallsAllCallbacksOnOneThread) {
  std::vector<pthread_t> threads;
  Member sut("Name", *bus,
             [&](Participant&, const Received&) { threads.push_back(pthread_self()); });
  Recorder other([&](const Received&) { threads.push_back(pthread_self()); });
  sut->setCallBack(other);
  for (unsigned int i = 0; i < 10; ++i) ASSERT_TRUE(sut->sendTo("Name", numbered(i)));

  settle(sut, sut);
  ASSERT_TRUE(other.waitForMessages(10));
  sut->removeCallBack(other);
  ASSERT_EQ(threads.size(), 20u);
  for (const pthread_t thread : threads) {
    EXPECT_NE(pthread_equal(thread, threads.front()), 0);
    EXPECT_EQ(pthread_equal(thread, pthread_self()), 0);
  }
}

TEST_P(Joining, IsUndoneOnlyWhenTheRunningCallbackHasReturned) {
  Latch entered;
  Latch release;
  bool returned = false;
  Member sut("Name", *bus, [&](Participant&, const Received&) {
    entered.arrive();
    EXPECT_TRUE(release.waitFor());
    returned = true;
  });
  ASSERT_TRUE(sut->sendTo("Name", numbered(1)));
  ASSERT_TRUE(entered.waitFor());

  std::thread releaser([&] { release.arrive(); });
  sut->disconnect();

  EXPECT_TRUE(returned);
  releaser.join();
}

}  // namespace
}  // namespace velp::test
