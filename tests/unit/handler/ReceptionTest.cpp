// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the handler does at once with what the bus brings: accept, refuse, queue or ignore.
#include <atomic>
#include <thread>

#include "HandlerFixture.h"
#include "Registrations.h"
#include "unit/runtime/PosixFailures.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

class Reception : public HandlerFixture {
 protected:
  // A request with every field set.
  static Request fullRequest() {
    const unsigned char data[] = {1, 2, 3};
    Request request(eventList, data, 3);
    request.setContext(4);
    request.setSourceChannel("channel");
    request.cascadeChannel(5);
    return request;
  }
  static Response fullResponse() {
    Response response(eventList, Response::STATUS_ERROR);
    response.setPayload({1, 2, 3});
    response.setContext(4);
    response.setSourceChannel("channel");
    response.cascadeChannel(5);
    response.setFlag(6);
    return response;
  }
  void isRefused(requestState_t state, Response::errorCode_t code) {
    sut->setRequestState(eventList, state);
    capture.clear();

    giveRequest(eventList);

    const Response refusal = answer();
    EXPECT_EQ(refusal.getStatus(), Response::STATUS_ERROR);
    EXPECT_EQ(refusal.getAnsweredID(), eventList);
    EXPECT_EQ(refusal.getErrorCode(), code);
    EXPECT_EQ(refusal.getPayload().size(), 4u) << "a refusal carries no data beside its code";
    EXPECT_EQ(HandlerInside::requestsIn(*sut), 0u);
    EXPECT_EQ(sut->getRequestState(eventList), state);
  }
};

TEST_F(Reception, IgnoresANullMessage) {
  makeStopped(2);

  sut->velpBusProxyCb(nullptr, "Client", "Service");

  EXPECT_EQ(capture.text(), "");
}

TEST_F(Reception, IgnoresWhatIsNeitherRequestNorResponse) {
  makeStopped(2);

  give(SystemMessage("text", 10));

  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(HandlerInside::requestsIn(*sut), 0u);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);
}

TEST_F(Reception, QueuesARequestOfAnAvailableIDAndMakesTheIDBusy) {
  makeStopped(0);
  serve(eventList);

  giveRequest(eventList);

  EXPECT_EQ(sut->getRequestState(eventList), BUSY);
  EXPECT_EQ(HandlerInside::requestsIn(*sut), 1u);
  EXPECT_EQ(served.count(), 0u);
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Reception, QueuesACompleteCopyOfTheRequestThatNamesItsSender) {
  makeStopped(0);
  serve(eventList);
  Request original = fullRequest();

  give(original, "Requester");

  EXPECT_EQ(original, fullRequest());
  const auto queued = HandlerInside::firstRequest(*sut).lock();
  EXPECT_NE(queued.get(), &original);
  EXPECT_EQ(queued->getText(), "Requester");
  original.setText("Requester");
  EXPECT_EQ(*queued, original);
}

TEST_F(Reception, TracesAnAcceptedRequestFromLevelOne) {
  for (const unsigned int level : {1u, 2u}) {
    makeStopped(level);
    serve(eventList);

    giveRequest(eventList);

    EXPECT_THAT(capture.lines(),
                ElementsAre(filled(texts::stateSet, "getEventList(50)", texts::states[BUSY]),
                            filled(texts::requestQueued, "Client")));
  }
}

TEST_F(Reception, RefusesABusyIDWithCode7) {
  makeStopped(1);
  serve(eventList);

  isRefused(BUSY, Response::ERROR_BUSY);

  EXPECT_THAT(capture.lines(), ElementsAre(texts::requestBusy));
}

TEST_F(Reception, RefusesEveryOtherStateWithCode1) {
  makeStopped(1);
  serve(eventList);

  for (const requestState_t state : {NOT_AVAILABLE, INVALID, requestState_t(4)}) {
    isRefused(state, Response::ERROR_NOT_AVAILABLE);
    EXPECT_THAT(capture.lines(), ElementsAre(texts::requestNotAvailable));
  }
}

TEST_F(Reception, RefusesAnUnknownIDWithCode1) {
  makeStopped(1);

  giveRequest(otherID);

  const Response refusal = answer();
  EXPECT_EQ(refusal.getErrorCode(), Response::ERROR_NOT_AVAILABLE);
  EXPECT_EQ(refusal.getAnsweredID(), otherID);
  EXPECT_THAT(capture.lines(), ElementsAre(texts::requestNotAvailable));
  EXPECT_EQ(HandlerInside::requestIDsOf(*sut), 0u);
}

TEST_F(Reception, RefusesInSilenceAtLevelZero) {
  makeStopped(0);
  serve(eventList);

  isRefused(BUSY, Response::ERROR_BUSY);
  EXPECT_EQ(capture.text(), "");
  isRefused(INVALID, Response::ERROR_NOT_AVAILABLE);
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Reception, RefusesTheSecondRequestAndKeepsTheFirst) {
  makeStopped(0);
  serve(eventList);

  give(Request(eventList, nullptr, 0), "First");
  give(Request(eventList, nullptr, 0), "Client");

  EXPECT_EQ(answer().getErrorCode(), Response::ERROR_BUSY);
  EXPECT_EQ(HandlerInside::requestsIn(*sut), 1u);
  EXPECT_EQ(HandlerInside::firstRequest(*sut).lock()->getText(), "First");
  sut->run();
  EXPECT_TRUE(served.waitFor());
}

TEST_F(Reception, TracesRefusalsAndIgnoredResponsesAtLevelTwoAsAtLevelOne) {
  makeStopped(2);
  serve(eventList);

  isRefused(BUSY, Response::ERROR_BUSY);
  EXPECT_THAT(capture.lines(), ElementsAre(texts::requestBusy));
  isRefused(INVALID, Response::ERROR_NOT_AVAILABLE);
  EXPECT_THAT(capture.lines(), ElementsAre(texts::requestNotAvailable));
  capture.clear();
  giveResponse(otherID);
  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::responseDropped, "unknown(60)", "Client")));
}

TEST_F(Reception, SendsRefusalsWithoutItsLock) {
  makeStopped(0);
  serve(eventList);
  unsigned int free = 0;
  registrations().before("sendTo", [this, &free] {
    if (!HandlerInside::isLocked(*sut)) ++free;
  });

  isRefused(BUSY, Response::ERROR_BUSY);
  isRefused(INVALID, Response::ERROR_NOT_AVAILABLE);
  registrations().clear();

  EXPECT_EQ(free, 2u);
}

TEST_F(Reception, SignalsOncePerQueuedMessageAndForNothingElse) {
  makeStopped(0);
  serve(eventList);
  receive(eventList);
  const unsigned int before = callsOf(PosixCall::condSignal);

  giveRequest(eventList);
  EXPECT_EQ(callsOf(PosixCall::condSignal), before + 1);
  giveResponse(eventList);
  EXPECT_EQ(callsOf(PosixCall::condSignal), before + 2);
  give(Request(eventList, nullptr, 0), "Nobody");
  giveResponse(otherID);
  give(SystemMessage("text", 10));
  EXPECT_EQ(callsOf(PosixCall::condSignal), before + 2);
}

TEST_F(Reception, IgnoresThatARefusalCannotBeSent) {
  makeStopped(0);

  EXPECT_NO_THROW(give(Request(eventList, nullptr, 0), "Nobody"));

  EXPECT_EQ(capture.text(), "");
}

TEST_F(Reception, AcceptsOneOfSeveralRequestsThatArriveTogether) {
  makeStopped(0);
  serve(eventList);
  constexpr unsigned int rounds = 500;
  for (unsigned int round = 0; round < rounds; ++round) {
    sut->setRequestState(eventList, AVAILABLE);
    std::atomic<bool> go{false};
    const auto giveOne = [this, &go] {
      while (!go) std::this_thread::yield();
      give(Request(eventList, nullptr, 0), "Nobody");
    };
    std::thread one(giveOne);
    std::thread other(giveOne);
    go = true;
    one.join();
    other.join();
  }

  EXPECT_EQ(HandlerInside::requestsIn(*sut), rounds);
}

TEST_F(Reception, IgnoresAResponseOfAnUnknownID) {
  makeStopped(1);

  giveResponse(eventList);

  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);
  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::responseDropped, "getEventList(50)", "Client")));
}

TEST_F(Reception, IgnoresAResponseOfAnUnknownIDInSilenceAtLevelZero) {
  makeStopped(0);

  giveResponse(eventList);

  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Reception, NeverAnswersAResponse) {
  makeStopped(0);
  receive(eventList);

  giveResponse(removeData);
  giveResponse(eventList);
  giveRequest(otherID);

  EXPECT_EQ(answer().getAnsweredID(), otherID) << "the refusal is the first that the client gets";
}

TEST_F(Reception, KnowsAResponseByItsAnsweredID) {
  makeStopped(0);
  receive(VelpClientMessageBase::MSG_UNSET);

  giveResponse(eventList);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 0u);

  receive(eventList);
  giveResponse(eventList);
  EXPECT_EQ(HandlerInside::responsesIn(*sut), 1u);
}

TEST_F(Reception, QueuesACompleteCopyOfTheResponseThatNamesItsSender) {
  makeStopped(0);
  receive(eventList);
  Response original = fullResponse();

  give(original, "Responder");

  EXPECT_EQ(original, fullResponse());
  const auto queued = HandlerInside::firstResponse(*sut).lock();
  EXPECT_NE(queued.get(), &original);
  EXPECT_EQ(queued->getText(), "Responder");
  original.setText("Responder");
  EXPECT_EQ(*queued, original);
}

TEST_F(Reception, QueuesAnyNumberOfResponsesWhateverTheRequestState) {
  makeStopped(0);
  serve(eventList);
  receive(eventList);

  for (const requestState_t state : {NOT_AVAILABLE, AVAILABLE, BUSY, INVALID}) {
    sut->setRequestState(eventList, state);
    giveResponse(eventList);
    EXPECT_EQ(sut->getRequestState(eventList), state);
  }

  EXPECT_EQ(HandlerInside::responsesIn(*sut), 4u);
}

TEST_F(Reception, WritesBusReportsAtEveryLevel) {
  for (const unsigned int level : {0u, 2u}) {
    makeStopped(level);

    sut->velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_INFORMATION, 5, "on the bus");
    sut->velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_WARNING, 6, "odd");
    sut->velpBusProxyStatusCb(VelpBusProxyCallback::STATUS_ERROR, -7, "off");

    EXPECT_THAT(capture.lines(),
                ElementsAre(filled(texts::busInformation, 5, "on the bus"),
                            filled(texts::busWarning, "odd"), filled(texts::busError, -7, "off")));
  }
}

TEST_F(Reception, IgnoresReportsOfUnknownKind) {
  makeStopped(2);

  sut->velpBusProxyStatusCb(VelpBusProxyCallback::StatusCBType_t(3), 5, "x");
  sut->velpBusProxyStatusCb(VelpBusProxyCallback::StatusCBType_t(4294967295), 5, "x");

  EXPECT_EQ(capture.text(), "");
}

}  // namespace
}  // namespace velp::test
