// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Registering callbacks, and reading and setting request states.
#include <thread>

#include "HandlerFixture.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

const std::string notFound = filled(texts::idNotFound, "getEventList(50)");

class Registration : public HandlerFixture {
 protected:
  // The lock is the handler's, reached by another name than the one that the operations require.
  requestState_t stateNoLock(velpMsgID_t id) VELP_NO_THREAD_SAFETY_ANALYSIS {
    MutexLocker locker(HandlerInside::mutexOf(*sut));
    return ((*sut).*&VelpMsgHandler::getRequestStateNoLock)(id);
  }
  // As for stateNoLock().
  void setStateNoLock(velpMsgID_t id, requestState_t state) VELP_NO_THREAD_SAFETY_ANALYSIS {
    MutexLocker locker(HandlerInside::mutexOf(*sut));
    ((*sut).*&VelpMsgHandler::setRequestStateNoLock)(id, state);
  }
};

TEST_F(Registration, RefusesAnEmptyRequestCallback) {
  makeStopped(2);

  EXPECT_EQ(sut->registerRequest(eventList, AVAILABLE, VelpMsgHandler::RequestCallback()), -1);

  EXPECT_EQ(sut->getRequestState(eventList), NOT_AVAILABLE);
  EXPECT_EQ(HandlerInside::requestIDsOf(*sut), 0u);
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Registration, RefusesAnEmptyResponseCallback) {
  makeStopped(2);

  EXPECT_EQ(sut->registerResponse(eventList, VelpMsgHandler::ResponseCallback()), -1);

  EXPECT_EQ(capture.text(), "");
  giveResponse(eventList);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);
}

TEST_F(Registration, NeedsNoLockToRefuseAnEmptyCallback) {
  makeStopped(0);
  MutexLocker locker(HandlerInside::mutexOf(*sut));

  EXPECT_EQ(sut->registerRequest(eventList, AVAILABLE, VelpMsgHandler::RequestCallback()), -1);
  EXPECT_EQ(sut->registerResponse(eventList, VelpMsgHandler::ResponseCallback()), -1);
}

TEST_F(Registration, LeavesTheEarlierOneWhenItRefuses) {
  makeStopped(0);
  serve(eventList);
  receive(eventList);

  EXPECT_EQ(sut->registerRequest(eventList, BUSY, VelpMsgHandler::RequestCallback()), -1);
  EXPECT_EQ(sut->registerResponse(eventList, VelpMsgHandler::ResponseCallback()), -1);

  EXPECT_EQ(sut->getRequestState(eventList), AVAILABLE);
  sut->run();
  giveRequest(eventList);
  giveResponse(eventList);
  EXPECT_TRUE(served.waitFor());
  EXPECT_TRUE(received.waitFor());
}

TEST_F(Registration, PutsTheIDInItsInitialState) {
  makeStopped(2);
  const auto callback = [](const Request&) { return AVAILABLE; };

  for (const requestState_t state : {NOT_AVAILABLE, AVAILABLE, BUSY, INVALID, requestState_t(9)}) {
    EXPECT_EQ(sut->registerRequest(eventList, state, callback), 0);
    EXPECT_EQ(sut->getRequestState(eventList), state);
  }

  EXPECT_EQ(capture.text(), "");
}

TEST_F(Registration, ReplacesStateAndCallbackOfARegisteredID) {
  makeStopped(0);
  Latch replaced;
  EXPECT_EQ(sut->registerRequest(eventList, BUSY,
                                 [&replaced](const Request&) {
                                   replaced.arrive();
                                   return AVAILABLE;
                                 }),
            0);

  serve(eventList);

  EXPECT_EQ(sut->getRequestState(eventList), AVAILABLE);
  sut->run();
  giveRequest(eventList);
  EXPECT_TRUE(served.waitFor());
  EXPECT_EQ(replaced.count(), 0u);
  EXPECT_EQ(HandlerInside::requestIDsOf(*sut), 1u);
}

TEST_F(Registration, ReplacesTheResponseCallbackOfARegisteredID) {
  makeStopped(0);
  Latch replaced;
  EXPECT_EQ(sut->registerResponse(eventList, [&replaced](const Response&) { replaced.arrive(); }),
            0);

  receive(eventList);

  sut->run();
  giveResponse(eventList);
  EXPECT_TRUE(received.waitFor());
  EXPECT_EQ(replaced.count(), 0u);
}

TEST_F(Registration, KeepsRequestsAndResponsesOfOneIDApart) {
  makeStopped(0);

  receive(eventList);
  EXPECT_EQ(sut->getRequestState(eventList), NOT_AVAILABLE);

  serve(removeData);
  giveResponse(removeData);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);
}

TEST_F(Registration, MakesItemsThatAreNotAvailableAndEmptyByDefault) {
  const VelpMsgHandler::RequestItem request;
  const VelpMsgHandler::ResponseItem response;

  EXPECT_EQ(request.state, NOT_AVAILABLE);
  EXPECT_TRUE(request.callback.empty());
  EXPECT_TRUE(response.callback.empty());
}

// Thread sanitizer sees an operation that does not lock.
TEST_F(Registration, MayBeDoneReadAndSetByManyThreadsAtOnce) {
  makeStopped(0);
  const auto useOne = [this](unsigned int first) {
    for (unsigned int i = 0; i < 100; ++i) {
      const auto id = static_cast<velpMsgID_t>(first + i);
      EXPECT_EQ(sut->registerRequest(id, AVAILABLE, [](const Request&) { return BUSY; }), 0);
      EXPECT_EQ(sut->registerResponse(id, [](const Response&) {}), 0);
      EXPECT_EQ(sut->getRequestState(id), AVAILABLE);
      sut->setRequestState(id, INVALID);
      EXPECT_EQ(sut->getRequestState(id), INVALID);
    }
  };

  std::thread one(useOne, 1000);
  std::thread other(useOne, 2000);
  one.join();
  other.join();

  EXPECT_EQ(HandlerInside::requestIDsOf(*sut), 200u);
}

TEST_F(Registration, ReadsAnUnknownIDAsNotAvailableInSilence) {
  makeStopped(2);

  EXPECT_EQ(sut->getRequestState(eventList), NOT_AVAILABLE);
  EXPECT_EQ(stateNoLock(eventList), NOT_AVAILABLE);

  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(HandlerInside::requestIDsOf(*sut), 0u);
}

TEST_F(Registration, SetsTheStateAndLeavesTheCallback) {
  makeStopped(0);
  serve(eventList);

  sut->setRequestState(eventList, INVALID);
  EXPECT_EQ(sut->getRequestState(eventList), INVALID);
  sut->setRequestState(eventList, AVAILABLE);

  sut->run();
  giveRequest(eventList);
  EXPECT_TRUE(served.waitFor());
}

TEST_F(Registration, SetsAndReadsTheStateUnderTheCallersLock) {
  makeStopped(1);
  serve(eventList);

  setStateNoLock(eventList, BUSY);

  EXPECT_EQ(stateNoLock(eventList), BUSY);
  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::stateSet, "getEventList(50)", texts::states[BUSY])));
}

TEST_F(Registration, SetsTheStateInSilenceAtLevelZero) {
  makeStopped(0);
  serve(eventList);

  sut->setRequestState(eventList, BUSY);

  EXPECT_EQ(capture.text(), "");
}

TEST_F(Registration, WarnsAtLevelZeroWhenTheStateOfAnUnknownIDIsSet) {
  makeStopped(0);

  sut->setRequestState(eventList, BUSY);

  EXPECT_THAT(capture.lines(), ElementsAre(notFound));
  EXPECT_EQ(sut->getRequestState(eventList), NOT_AVAILABLE);
  EXPECT_EQ(HandlerInside::requestIDsOf(*sut), 0u);
}

TEST_F(Registration, TracesBeforeItWarnsFromLevelOne) {
  for (const unsigned int level : {1u, 2u}) {
    makeStopped(level);

    sut->setRequestState(eventList, BUSY);

    EXPECT_THAT(
        capture.lines(),
        ElementsAre(filled(texts::stateSet, "getEventList(50)", texts::states[BUSY]), notFound));
  }
}

}  // namespace
}  // namespace velp::test
