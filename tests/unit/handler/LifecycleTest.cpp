// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How a handler starts, ends, and what it leaves behind.
#include <atomic>
#include <cerrno>
#include <mutex>
#include <thread>

#include "HandlerFixture.h"
#include "Registrations.h"
#include "unit/runtime/PosixFailures.h"
#include "velp/runtime/VelException.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* stopLine = "[DEBUG] VelH::stop() stop";
constexpr const char* stoppedLine = "[DEBUG] VelH::stop() done ";
constexpr const char* wokenToEndLine =
    "[DEBUG] VelH::threadCode() threadCode: done wait, running=0, reqsize=0, ressize=0";

// The text of the VelException that `function` throws.
template <typename Function>
std::string thrownBy(Function function) {
  try {
    function();
  } catch (const VelException& error) {
    return error.what();
  }
  return "nothing";
}

class Lifecycle : public HandlerFixture {
 protected:
  Lifecycle() { registrations().clear(); }
  ~Lifecycle() override { registrations().clear(); }

  // A handler whose worker is inside the callback of eventList until endCallback().
  void makeServing(unsigned int traceLevel) {
    sut = std::make_unique<VelpMsgHandler>(traceLevel);
    sut->registerRequest(eventList, AVAILABLE, [this](const Request&) {
      served.arrive();
      EXPECT_TRUE(mayEnd.waitFor());
      return INVALID;
    });
    giveRequest(eventList);
    ASSERT_TRUE(served.waitFor());
  }

  // stop() on a thread of its own, which has cleared `running` on return.
  std::thread stopping() {
    std::thread thread([this] { sut->stop(); });
    while (HandlerInside::isRunning(*sut)) std::this_thread::yield();
    return thread;
  }

  Latch mayEnd;
};

TEST_F(Lifecycle, BeginsWithRequestsAndResponsesFromTheBusAndEndsOffIt) {
  sut = std::make_unique<VelpMsgHandler>(0);
  EXPECT_THAT(registrations().all(), ElementsAre("setRxFilter f000 f001", "setCallBack"));

  sut->stop();

  EXPECT_THAT(registrations().all(),
              ElementsAre("setRxFilter f000 f001", "setCallBack", "removeCallBack"));
}

TEST_F(Lifecycle, LeavesTheBusWithoutItsLock) {
  sut = std::make_unique<VelpMsgHandler>(0);
  std::atomic<bool> free{false};
  registrations().before("removeCallBack",
                         [this, &free] { free = !HandlerInside::isLocked(*sut); });

  sut->stop();

  EXPECT_TRUE(free);
}

TEST_F(Lifecycle, StopWritesWhatItDoesAtLevelTwo) {
  makeIdle();

  sut->stop();

  EXPECT_THAT(capture.lines(), ElementsAre(waitLine, stopLine, wokenToEndLine, stoppedLine));
  EXPECT_FALSE(HandlerInside::hasHandle(*sut));
}

TEST_F(Lifecycle, StopWritesNothingBelowLevelTwo) {
  for (const unsigned int level : {0u, 1u}) {
    sut = std::make_unique<VelpMsgHandler>(level);
    sut->stop();
    EXPECT_EQ(capture.text(), "");
  }
}

TEST_F(Lifecycle, SecondStopDoesAndWritesNothing) {
  makeStopped(2);

  sut->stop();

  EXPECT_EQ(capture.text(), "");
}

TEST_F(Lifecycle, DestructorStopsAndWritesNoLineOfItsOwn) {
  makeIdle();

  sut.reset();

  EXPECT_THAT(capture.lines(), ElementsAre(waitLine, stopLine, wokenToEndLine, stoppedLine));
  EXPECT_EQ(registrations().all().back(), "removeCallBack");
}

TEST_F(Lifecycle, MayBeStoppedByManyThreadsAtOnce) {
  for (int round = 0; round < 50; ++round) {
    sut = std::make_unique<VelpMsgHandler>(0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([this] { sut->stop(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(HandlerInside::isRunning(*sut));
    EXPECT_FALSE(HandlerInside::hasHandle(*sut));
  }
}

TEST_F(Lifecycle, StopLetsTheCallbackInProgressFinishAndKeepsItsState) {
  makeServing(0);
  std::thread thread = stopping();

  mayEnd.arrive();
  thread.join();

  EXPECT_EQ(sut->getRequestState(eventList), INVALID);
}

TEST_F(Lifecycle, AfterStopTheHandlerReceivesNothing) {
  sut = std::make_unique<VelpMsgHandler>(0);
  receive(eventList);
  sut->stop();
  VelpMsgHandler other(0);
  other.registerRequest(otherID, AVAILABLE, [this](const Request&) {
    served.arrive();
    return AVAILABLE;
  });

  ASSERT_TRUE(client.sendTo("Service", Response(eventList, Response::STATUS_OK)));
  ASSERT_TRUE(client.sendTo("Service", Request(otherID, nullptr, 0)));

  ASSERT_TRUE(served.waitFor());
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);
}

TEST_F(Lifecycle, RunStartsNoSecondWorker) {
  sut = std::make_unique<VelpMsgHandler>(0);
  const unsigned int threads = callsOf(PosixCall::threadCreate);

  sut->run();

  EXPECT_EQ(callsOf(PosixCall::threadCreate), threads);
}

TEST_F(Lifecycle, RunAfterStopServesWhatIsQueued) {
  makeStopped(0);
  serve(eventList);
  giveRequest(eventList);

  sut->run();

  EXPECT_TRUE(served.waitFor());
  EXPECT_TRUE(client.sendTo("Service", Request(otherID, nullptr, 0)));
  EXPECT_EQ(answer().getErrorCode(), Response::ERROR_NOT_AVAILABLE) << "it is on the bus again";
}

TEST_F(Lifecycle, WithoutAThreadTheHandlerEndsAllTheSame) {
  {
    const FailingCall failing(PosixCall::threadCreate, EAGAIN);
    sut = std::make_unique<VelpMsgHandler>(2);
  }
  EXPECT_FALSE(HandlerInside::hasHandle(*sut));

  sut->stop();

  EXPECT_THAT(capture.lines(), ElementsAre(stopLine, stoppedLine));
}

TEST_F(Lifecycle, ThreadCodeReturnsWhenItIsCalledDirectly) {
  makeStopped(2);
  registrations().clear();

  sut->threadCode();

  EXPECT_THAT(registrations().all(),
              ElementsAre("setRxFilter f000 f001", "setCallBack", "removeCallBack"));
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Lifecycle, WaitThatFailsThrowsTheDestroyText) {
  makeStopped(0);
  HandlerInside::setRunning(*sut);
  const FailingCall failing(PosixCall::condWait, EPERM);

  EXPECT_THAT(thrownBy([this] { sut->threadCode(); }), HasSubstr("cannot destroy condition"));

  HandlerInside::clearRunning(*sut);
  EXPECT_EQ(sut->getRequestState(eventList), NOT_AVAILABLE) << "the lock is free";
  VelpBusProxy::getInstance()->removeCallBack(*sut);
}

TEST_F(Lifecycle, ConditionThatCannotBeMadeLeavesNoHandlerBehind) {
  const FailingCall failing(PosixCall::condInit, ENOMEM);

  EXPECT_THAT(thrownBy([] { VelpMsgHandler handler(0); }), HasSubstr("cannot create condition"));

  EXPECT_THAT(registrations().all(), IsEmpty());
}

using LifecycleDeathTest = HandlerFixture;

TEST_F(LifecycleDeathTest, ConditionThatCannotBeDestroyedEndsTheProcessWithItsText) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  makeStopped(0);
  EXPECT_DEATH(
      {
        const FailingCall failing(PosixCall::condDestroy, EBUSY);
        sut.reset();
      },
      "cannot destroy condition");
}

class HandlerQuirk : public Lifecycle {};

TEST_F(HandlerQuirk, WorkerLinesNameTheFunctionTwice) {
  makeIdle();

  EXPECT_EQ(capture.text(), "[DEBUG] VelH::threadCode() threadCode: wait\n");
}

TEST_F(HandlerQuirk, ResponseWithoutACallbackIsDoneToo) {
  makeStopped(2);
  receive(eventList);
  giveResponse(eventList);
  HandlerInside::forgetRegistrations(*sut);
  capture.clear();

  sut->run();
  ASSERT_TRUE(capture.waitForLine(waitLine));

  EXPECT_THAT(
      capture.lines(),
      ElementsAre("[DEBUG] VelH::threadCode() threadCode: response callback done", waitLine));
  EXPECT_EQ(received.count(), 0u);
}

TEST_F(HandlerQuirk, QueuedResponsesAreTracedFromLevelTwo) {
  constexpr const char* line = "[DEBUG] VelH::velpBusProxyCb() queue response from \"Client\"";
  for (const unsigned int level : {0u, 1u, 2u}) {
    makeStopped(level);
    receive(eventList);

    giveResponse(eventList);

    EXPECT_EQ(HandlerInside::responsesIn(*sut), 1u);
    EXPECT_EQ(capture.text(), level == 2 ? line + std::string("\n") : "") << "level " << level;
  }
}

TEST_F(HandlerQuirk, BusWarningsAreLoggedWithoutTheirCode) {
  makeStopped(0);

  sut->velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_WARNING, 5, "x");

  EXPECT_THAT(capture.lines(), ElementsAre("[WARNING] VelH::velpBusProxyStatusCb() x"));
}

TEST_F(HandlerQuirk, FailedSignalLeavesTheMutexLocked) {
  makeStopped(0);
  serve(eventList);
  receive(eventList);
  const FailingCall failing(PosixCall::condSignal, EINVAL);

  EXPECT_THAT(thrownBy([this] { giveRequest(eventList); }), HasSubstr("cannot signal condition"));
  EXPECT_TRUE(HandlerInside::isLocked(*sut));
  HandlerInside::unlock(*sut);
  EXPECT_EQ(HandlerInside::requestsIn(*sut), 1u);

  EXPECT_THAT(thrownBy([this] { giveResponse(eventList); }), HasSubstr("cannot signal condition"));
  EXPECT_TRUE(HandlerInside::isLocked(*sut));
  HandlerInside::unlock(*sut);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 1u);
}

TEST_F(HandlerQuirk, FailedSignalInStopLeavesTheMutexLocked) {
  makeIdle();
  {
    const FailingCall failing(PosixCall::condSignal, EINVAL);
    EXPECT_THAT(thrownBy([this] { sut->stop(); }), HasSubstr("cannot signal condition"));
  }
  EXPECT_TRUE(HandlerInside::isLocked(*sut));
  HandlerInside::unlock(*sut);

  HandlerInside::conditionOf(*sut).signal();
  HandlerInside::join(*sut);
}

TEST_F(HandlerQuirk, RequestsLeftAtTheEndAreNeitherServedNorAnswered) {
  makeServing(0);
  sut->registerRequest(otherID, AVAILABLE, [this](const Request&) {
    received.arrive();
    return AVAILABLE;
  });
  giveRequest(otherID);
  const boost::weak_ptr<Request> left = HandlerInside::firstRequest(*sut);
  std::thread thread = stopping();
  mayEnd.arrive();
  thread.join();

  EXPECT_EQ(sut->getRequestState(otherID), BUSY);
  EXPECT_FALSE(left.expired());
  sut.reset();

  EXPECT_TRUE(left.expired());
  EXPECT_EQ(received.count(), 0u);
  VelpMsgSender::getInstance()->sendResponseOK("Client", eventList, nullptr, 0);
  EXPECT_EQ(answer().getAnsweredID(), eventList) << "the first that the client gets";
}

TEST_F(HandlerQuirk, SpuriousWakeUpServesNothingAndWaitsAnew) {
  makeIdle();
  capture.clear();
  {
    MutexLocker locker(HandlerInside::mutexOf(*sut));
    HandlerInside::conditionOf(*sut).signal();
  }
  ASSERT_TRUE(capture.waitForLine(waitLine));

  EXPECT_THAT(capture.lines(),
              ElementsAre("[DEBUG] VelH::threadCode() threadCode: done wait, running=1, "
                          "reqsize=0, ressize=0",
                          waitLine));
}

}  // namespace
}  // namespace velp::test
