// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What a participant leaves behind when it fails, and what a fork makes of it.
#include "velp/bus/Participant.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <memory>
#include <thread>

#include "process/PrivateBus.h"
#include "support/Latch.h"
#include "support/Recorder.h"
#include "unit/bus/inChild.h"
#include "unit/bus/waitHook.h"
#include "velp/bus/StatusCode.h"
#include "velp/runtime/VelException.h"

namespace velp::test {
namespace {

const SystemMessage message("text", 1);

TEST(Participant, IsOnNoBusWhenItsThreadCannotBeStarted) {
  const PrivateBus bus;
  Participant sut;
  Participant peer;
  peer.connect("Peer", bus.address());
  {
    const NoMoreThreads noMoreThreads;
    EXPECT_THROW(sut.connect("Name", bus.address()), VelException);
  }

  EXPECT_EQ(sut.getName(), "");
  EXPECT_FALSE(sut.sendTo("Peer", message));
  EXPECT_FALSE(peer.sendTo("Name", message));
  sut.connect("Name", bus.address());
  EXPECT_TRUE(peer.sendTo("Name", message));
}

TEST(Participant, TakesCallbacksOffThatWereNeverRegistered) {
  Participant sut;
  Recorder callback;

  sut.removeCallBack(callback);
  sut.connect("Name", "inproc:ParticipantTest");

  EXPECT_TRUE(sut.sendTo("Name", message));
  EXPECT_EQ(callback.count(), 0u);
}

TEST(Participant, LeavesTheBusAtItsEnd) {
  Participant peer;
  peer.connect("Peer", "inproc:ParticipantTest");
  auto sut = std::make_unique<Participant>();
  sut->connect("Name", "inproc:ParticipantTest");
  ASSERT_TRUE(peer.sendTo("Name", message));

  sut.reset();

  EXPECT_FALSE(peer.sendTo("Name", message));
}

// On both transports: a participant named Parent, a peer, and what both receive.
class ForkedParticipant : public testing::TestWithParam<const char*> {
 protected:
  ForkedParticipant() {
    peer.setCallBack(peersRecorder);
    peer.connect("Peer", address());
    sut.setCallBack(recorder);
    sut.connect("Parent", address());
    // Their threads are at rest when the test forks: a recorder's lock does not pass a fork.
    EXPECT_TRUE(peersRecorder.waitForReport(STATUS_JOINED));
    EXPECT_TRUE(recorder.waitForReport(STATUS_JOINED));
  }
  ~ForkedParticipant() override {
    peer.removeCallBack(peersRecorder);
    sut.removeCallBack(recorder);
  }

  std::string address() const {
    return GetParam() == std::string("local") ? bus.address() : "inproc:ForkedParticipant";
  }

  const PrivateBus bus{};
  Recorder peersRecorder;
  Recorder recorder;
  Participant peer;
  Participant sut;
};
INSTANTIATE_TEST_SUITE_P(Transports, ForkedParticipant, testing::Values("inproc", "local"),
                         [](const auto& transport) { return std::string(transport.param); });

TEST_P(ForkedParticipant, IsOnNoBusInTheChild) {
  EXPECT_TRUE(inChild([this] {
    EXPECT_FALSE(sut.sendTo("Peer", message));
    EXPECT_FALSE(sut.sendTo("Parent", message));
    EXPECT_EQ(sut.getName(), "");
    sut.disconnect();
  }));
}

TEST_P(ForkedParticipant, StaysOnTheBusInTheParent) {
  EXPECT_TRUE(inChild([this] { sut.disconnect(); }));

  EXPECT_EQ(sut.getName(), "Parent");
  EXPECT_TRUE(sut.sendTo("Peer", message));
  EXPECT_TRUE(peer.sendTo("Parent", message));
  ASSERT_TRUE(peersRecorder.waitForMessages(1));
  ASSERT_TRUE(recorder.waitForMessages(1));
}

TEST_P(ForkedParticipant, KeepsCallbacksAndFiltersWhenTheChildJoins) {
  Recorder filtered;
  sut.setRxFilter(filtered, {});
  sut.setCallBack(filtered);

  EXPECT_TRUE(inChild([&] {
    sut.connect("Child", address());
    EXPECT_EQ(sut.getName(), "Child");
    EXPECT_TRUE(sut.sendTo("Child", message));
    EXPECT_TRUE(recorder.waitForMessages(1));
    EXPECT_EQ(recorder.messages()[0].source, "Child");
    sut.disconnect();
    EXPECT_EQ(filtered.count(), 0u);
  }));

  sut.removeCallBack(filtered);
}

TEST_P(ForkedParticipant, MayDieInTheChild) {
  auto shortLived = std::make_unique<Participant>();
  shortLived->connect("Short", address());

  EXPECT_TRUE(inChild([&] { shortLived.reset(); }));

  EXPECT_TRUE(peer.sendTo("Short", message));
}

// The reception thread blocks the alarm's signal like all others.
void endIn60Seconds() {
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  alarm(60);
}

// The child has one thread, the copy of the reception thread; it ends when the callback returns and
// there is nothing to receive any more, and the child ends with it.
TEST_P(ForkedParticipant, EndsTheReceptionOfAChildForkedInACallback) {
  pid_t child = -1;
  Latch forked;
  Recorder forker([&](const Received&) {
    child = fork();
    if (child != 0) {
      forked.arrive();
      return;
    }
    endIn60Seconds();
    // Nothing of the parent's is to be ended here.
    std::atexit([] { _exit(0); });
  });
  sut.setCallBack(forker);

  ASSERT_TRUE(peer.sendTo("Parent", message));
  EXPECT_TRUE(forked.waitFor());
  sut.removeCallBack(forker);

  int status = -1;
  ASSERT_GT(child, 0);
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(peer.sendTo("Parent", message));
}

// Four threads of the child meet the parent's inside at once: all must end up with the same one.
TEST_P(ForkedParticipant, IsTheSameForAllThreadsOfTheChild) {
  constexpr int count = 4;
  const auto registerAtOnce = [this] {
    std::deque<Recorder> recorders(count);
    std::atomic<int> ready{0};
    std::deque<std::thread> threads;
    for (Recorder& each : recorders) {
      threads.emplace_back([&] {
        ++ready;
        while (ready < count) std::this_thread::yield();
        sut.setCallBack(each);
      });
    }
    for (std::thread& thread : threads) thread.join();
    sut.connect("Child", address());
    EXPECT_TRUE(sut.sendTo("Child", message));
    for (Recorder& each : recorders) EXPECT_TRUE(each.waitForMessages(1));
    sut.disconnect();
  };

  for (int round = 0; round < 10; ++round) EXPECT_TRUE(inChild(registerAtOnce));
}

TEST(ForkedLocalParticipant, ReachesTheParentAndItsPeersFromTheChild) {
  const PrivateBus bus;
  Recorder recorder;
  Participant sut;
  sut.setCallBack(recorder);
  sut.connect("Parent", bus.address());
  ASSERT_TRUE(recorder.waitForReport(STATUS_JOINED));

  EXPECT_TRUE(inChild([&] {
    EXPECT_THROW(sut.connect("Parent", bus.address()), VelException);
    sut.connect("Child", bus.address());
    EXPECT_TRUE(sut.sendTo("Parent", message));
    sut.disconnect();
  }));

  ASSERT_TRUE(recorder.waitForMessages(1));
  EXPECT_EQ(recorder.messages()[0].source, "Child");
  sut.removeCallBack(recorder);
}

// Forks while another thread holds the lock of the callbacks, just about to wait for the end of the
// call of the one that it removes.
TEST(ForkedBusyParticipant, KeepsItsCallbacksInTheChild) {
  Latch called;
  Latch locked;
  Latch release;
  Recorder kept;
  Recorder removed([&](const Received&) {
    called.arrive();
    EXPECT_TRUE(release.waitFor());
  });
  Participant sut;
  sut.setCallBack(kept);
  sut.setCallBack(removed);
  sut.connect("Parent", "inproc:ForkedBusyParticipant");
  ASSERT_TRUE(sut.sendTo("Parent", message));
  ASSERT_TRUE(called.waitFor());
  std::atomic<bool> waitsAgain{false};
  const WaitHook hook([&] {
    if (waitsAgain.exchange(true)) return;
    locked.arrive();
    EXPECT_TRUE(release.waitFor());
  });
  std::thread remover([&] { sut.removeCallBack(removed); });

  EXPECT_TRUE(locked.waitFor());
  EXPECT_TRUE(inChild([&] {
    sut.connect("Child", "inproc:ForkedBusyParticipant");
    EXPECT_TRUE(sut.sendTo("Child", message));
    EXPECT_TRUE(kept.waitForMessages(2));
    sut.disconnect();
  }));

  release.arrive();
  remover.join();
  sut.disconnect();
}

}  // namespace
}  // namespace velp::test
