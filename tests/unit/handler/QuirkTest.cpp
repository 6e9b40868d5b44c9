// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The handler's odd behaviour that is kept on purpose.
#include <cerrno>
#include <thread>

#include "LifecycleFixture.h"
#include "unit/runtime/PosixFailures.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

using HandlerQuirk = Lifecycle;

const std::string signalText = errorText(EINVAL, texts::conditionNotSignalled);

TEST_F(HandlerQuirk, WorkerLinesNameTheFunctionTwice) {
  makeIdle();

  EXPECT_EQ(capture.text(), std::string(texts::workerWaits) + "\n");
}

TEST_F(HandlerQuirk, ResponseWithoutACallbackIsDoneToo) {
  makeStopped(2);
  receive(eventList);
  giveResponse(eventList);
  HandlerInside::forgetRegistrations(*sut);
  capture.clear();

  sut->run();
  ASSERT_TRUE(capture.waitForLine(texts::workerWaits));

  EXPECT_THAT(capture.lines(), ElementsAre(texts::responseDone, texts::workerWaits));
  EXPECT_EQ(received.count(), 0u);
}

TEST_F(HandlerQuirk, QueuedResponsesAreTracedFromLevelTwo) {
  const std::string line = filled(texts::responseQueued, "Client");
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

  EXPECT_THAT(capture.lines(), ElementsAre(filled(texts::busWarning, "x")));
}

TEST_F(HandlerQuirk, FailedSignalLeavesTheMutexLocked) {
  makeStopped(0);
  serve(eventList);
  receive(eventList);
  const FailingCall failing(PosixCall::condSignal, EINVAL);

  EXPECT_EQ(thrownBy([this] { giveRequest(eventList); }), signalText);
  EXPECT_TRUE(HandlerInside::isLocked(*sut));
  HandlerInside::unlock(*sut);
  EXPECT_EQ(HandlerInside::requestsIn(*sut), 1u);

  EXPECT_EQ(thrownBy([this] { giveResponse(eventList); }), signalText);
  EXPECT_TRUE(HandlerInside::isLocked(*sut));
  HandlerInside::unlock(*sut);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 1u);
}

TEST_F(HandlerQuirk, FailedSignalInStopLeavesTheMutexLocked) {
  makeIdle();
  {
    const FailingCall failing(PosixCall::condSignal, EINVAL);
    EXPECT_EQ(thrownBy([this] { sut->stop(); }), signalText);
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
  ASSERT_TRUE(capture.waitForLine(texts::workerWaits));

  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::workerWoken, 1, 0, 0), texts::workerWaits));
}

}  // namespace
}  // namespace velp::test
