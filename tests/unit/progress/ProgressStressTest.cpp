// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Progress handlers under many threads at once, ticks in flight, and requesters that do not read.
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>

#include "ProgressFixture.h"
#include "support/Recorder.h"

namespace velp::test {
namespace {

// A requester that keeps nothing: counts progress of the event list, and everything else apart.
class Counter : private VelpBusProxyCallback {
 public:
  explicit Counter(const std::string& name) {
    participant.setCallBack(*this);
    participant.connect(name, senderBus);
  }
  ~Counter() override { participant.removeCallBack(*this); }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

  unsigned int right() const { return rightOnes; }
  unsigned int wrong() const { return wrongOnes; }

 private:
  void velpBusProxyCb(const MessageBase* message, const std::string&, const std::string&) override {
    const auto* response = dynamic_cast<const Response*>(message);
    const bool isRight = response != nullptr && response->getAnsweredID() == eventList &&
                         response->getStatus() == Response::STATUS_PROGRESS &&
                         response->getProgress() <= 90 && response->getProgress() % 5 == 0;
    ++(isRight ? rightOnes : wrongOnes);
  }
  void velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) override {}

  std::atomic<unsigned int> rightOnes{0};
  std::atomic<unsigned int> wrongOnes{0};
  Participant participant;
};

class ProgressStress : public ProgressFixture {
 protected:
  // Repeats each action on a thread of its own until a timer has ticked 300 times.
  static void repeatAll(const std::vector<std::function<void(std::mt19937&)>>& actions) {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (const auto& action : actions) {
      threads.emplace_back([&done, &action, seed = threads.size()] {
        std::mt19937 random(static_cast<unsigned int>(seed));
        while (!done) action(random);
      });
    }
    awaitOtherTicks(300);
    done = true;
    for (std::thread& thread : threads) thread.join();
  }
  // Waits until the timer thread has done something else.
  static void letTicksBegin(std::mt19937& random) {
    if (random() % 8 == 0) awaitOtherTicks(1 + random() % 2);
  }
  static void operate(VelpMsgProgressHandler& handler, std::mt19937& random) {
    switch (random() % 8) {
      case 0:
        return handler.stop();
      case 1:
        return static_cast<void>(handler.update(50, 90, 9));
      case 2:
        return static_cast<void>(handler.update(20, 90, "text"));
      case 3:
        return static_cast<void>(handler.updateInfo(40));
      case 4:
        return static_cast<void>(handler.updateInfo("text"));
      default:
        return static_cast<void>(handler.start("CounterOfALongName", eventList, 0, 90, 4, 1));
    }
  }
};

TEST_F(ProgressStress, OneHandlerServesManyThreadsWhileItTicks) {
  const Counter counter("CounterOfALongName");
  const auto action = [this](std::mt19937& random) {
    operate(sut, random);
    letTicksBegin(random);
  };

  repeatAll({action, action, action, action});
  sut.stop();

  EXPECT_GT(counter.right(), 100u);
  EXPECT_EQ(counter.wrong(), 0u);
}

TEST_F(ProgressStress, HandlersComeAndGoWithTicksInFlight) {
  const Counter counter("CounterOfALongName");
  const auto action = [](std::mt19937& random) {
    const auto handler = std::make_unique<VelpMsgProgressHandler>();
    handler->start("CounterOfALongName", eventList, 0, 90, 4, 1);
    for (unsigned int i = random() % 4; i > 0; --i) operate(*handler, random);
    letTicksBegin(random);
  };

  repeatAll({action, action, action, action});

  EXPECT_GT(counter.right(), 100u);
  EXPECT_EQ(counter.wrong(), 0u);
}

TEST_F(ProgressStress, RequesterThatDoesNotReadStopsNeitherTicksNorOtherTimers) {
  Latch entered;
  Latch mayLeave;
  Recorder recorder([&](const Received&) {
    entered.arrive();
    EXPECT_TRUE(mayLeave.waitFor());
  });
  Participant stuck;
  stuck.setCallBack(recorder);
  stuck.connect("Stuck", senderBus);
  sut.traceLevel = 1;

  EXPECT_EQ(sut.start("Stuck", eventList, 0, 90, 4, 1), 0);
  ASSERT_TRUE(entered.waitFor());

  awaitOtherTicks(50);
  EXPECT_TRUE(capture.waitForLine(
      filled(texts::progressTick, "Stuck", "getEventList(50)", 90, texts::steps[4]), 20));
  EXPECT_EQ(sut.update(50, 50, 5), 0);
  sut.stop();
  mayLeave.arrive();
  stuck.removeCallBack(recorder);
}

TEST_F(ProgressStress, RequesterThatComesAndGoesDisturbsNothing) {
  EXPECT_EQ(sut.start("Guest", eventList, 0, 90, 4, 1), 0);

  for (int visit = 0; visit < 5; ++visit) {
    Peer guest("Guest");
    EXPECT_EQ(guest.next<Response>().getAnsweredID(), eventList);
    guest.leave();
  }

  EXPECT_EQ(sut.updateInfo(4), 0);
}

}  // namespace
}  // namespace velp::test
