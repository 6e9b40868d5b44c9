// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How a handler starts, ends, and what it leaves behind.
#include <atomic>
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <thread>
#include <type_traits>
#include <utility>

#include "LifecycleFixture.h"
#include "ThreadCalls.h"
#include "unit/runtime/PosixFailures.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

TEST_F(Lifecycle, BeginsWithRequestsAndResponsesFromTheBusAndEndsOffIt) {
  sut = std::make_unique<VelpMsgHandler>(0);
  EXPECT_THAT(registrations().all(), ElementsAre("setRxFilter f000 f001", "setCallBack"));

  sut->stop();

  EXPECT_THAT(registrations().all(),
              ElementsAre("setRxFilter f000 f001", "setCallBack", "removeCallBack"));
}

TEST_F(Lifecycle, IsABusCallbackFirstAndAThreadSecond) {
  makeStopped(0);
  const void* whole = sut.get();

  EXPECT_EQ(static_cast<VelpBusProxyCallback*>(sut.get()), whole);
  EXPECT_GT(static_cast<const void*>(static_cast<Thread*>(sut.get())), whole);
  static_assert(std::has_virtual_destructor_v<VelpMsgHandler>);
}

TEST_F(Lifecycle, JoinsTheBusWithoutItsLock) {
  makeStopped(0);
  std::atomic<int> free{0};
  for (const char* operation : {"setRxFilter", "setCallBack"}) {
    registrations().before(operation, [this, &free] {
      if (!HandlerInside::isLocked(*sut)) ++free;
    });
  }

  sut->run();

  EXPECT_EQ(free, 2);
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

  EXPECT_THAT(capture.lines(), ElementsAre(texts::workerWaits, texts::handlerStops, wokenToEndLine,
                                           texts::handlerStopped));
  EXPECT_FALSE(HandlerInside::hasHandle(*sut));
}

TEST_F(Lifecycle, StopWritesNothingBelowLevelTwo) {
  for (const unsigned int level : {0u, 1u}) {
    sut = std::make_unique<VelpMsgHandler>(level);
    sut->stop();
    EXPECT_EQ(capture.text(), "");
  }
}

TEST_F(Lifecycle, StopSignalsOnceAndJoinsOnce) {
  makeIdle();
  const unsigned int signals = callsOf(PosixCall::condSignal);
  const unsigned int joins = threadCalls().joins;

  sut->stop();

  EXPECT_EQ(callsOf(PosixCall::condSignal), signals + 1);
  EXPECT_EQ(threadCalls().joins, joins + 1);
}

TEST_F(Lifecycle, OfTwoStopsAtTheSameTimeOneJoins) {
  makeIdle();
  const unsigned int joins = threadCalls().joins;
  const pthread_t stopper = pthread_self();
  // The second comes when the first has found the worker running, and is done before it goes on.
  bool nested = false;
  registrations().before("write", [this, stopper, &nested] {
    if (!pthread_equal(pthread_self(), stopper) || std::exchange(nested, true)) return;
    sut->stop();
  });

  sut->stop();

  EXPECT_EQ(threadCalls().joins, joins + 1);
  EXPECT_EQ(capture.count(texts::handlerStops), 2u);
  EXPECT_EQ(capture.count(texts::handlerStopped), 2u);
  EXPECT_FALSE(HandlerInside::hasHandle(*sut));
}

TEST_F(Lifecycle, WorkerEndsItsThreadItselfAndWithoutAResult) {
  makeIdle();
  const unsigned int exits = threadCalls().exits;
  threadCalls().exitValue = this;

  sut->stop();

  EXPECT_EQ(threadCalls().exits, exits + 1);
  EXPECT_EQ(threadCalls().exitValue, nullptr);
}

TEST_F(Lifecycle, SecondStopDoesAndWritesNothing) {
  makeStopped(2);
  const unsigned int signals = callsOf(PosixCall::condSignal);
  const unsigned int joins = threadCalls().joins;

  sut->stop();

  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(callsOf(PosixCall::condSignal), signals);
  EXPECT_EQ(threadCalls().joins, joins);
}

TEST_F(Lifecycle, DestructorStopsAndWritesNoLineOfItsOwn) {
  makeIdle();

  sut.reset();

  EXPECT_THAT(capture.lines(), ElementsAre(texts::workerWaits, texts::handlerStops, wokenToEndLine,
                                           texts::handlerStopped));
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

TEST_F(Lifecycle, ResponsesLeftAtTheEndAreReleasedUnserved) {
  sut = std::make_unique<VelpMsgHandler>(0);
  sut->registerResponse(eventList, [this](const Response&) {
    received.arrive();
    EXPECT_TRUE(mayEnd.waitFor());
  });
  giveResponse(eventList);
  ASSERT_TRUE(received.waitFor());
  giveResponse(eventList);
  const boost::weak_ptr<Response> left = HandlerInside::firstResponse(*sut);
  std::thread thread = stopping();
  mayEnd.arrive();
  thread.join();

  EXPECT_EQ(HandlerInside::responsesIn(*sut), 1u);
  sut.reset();

  EXPECT_TRUE(left.expired());
  EXPECT_EQ(received.count(), 1u);
}

TEST_F(Lifecycle, KeepsTheCallbacksUntilItsEnd) {
  sut = std::make_unique<VelpMsgHandler>(0);
  auto kept = boost::make_shared<int>(0);
  const boost::weak_ptr<int> watched = kept;
  sut->registerRequest(eventList, AVAILABLE, [kept](const Request&) { return AVAILABLE; });
  sut->registerResponse(eventList, [kept](const Response&) {});
  kept.reset();

  sut->stop();
  EXPECT_EQ(watched.use_count(), 2);
  sut.reset();

  EXPECT_TRUE(watched.expired());
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

TEST_F(Lifecycle, ThreadCodeReturnsWhenItIsCalledDirectly) {
  makeStopped(2);
  registrations().clear();
  const unsigned int exits = threadCalls().exits;

  sut->threadCode();

  EXPECT_EQ(threadCalls().exits, exits);

  EXPECT_THAT(registrations().all(),
              ElementsAre("setRxFilter f000 f001", "setCallBack", "removeCallBack"));
  EXPECT_EQ(capture.text(), "");
}

}  // namespace
}  // namespace velp::test
