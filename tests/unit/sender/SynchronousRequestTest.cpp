// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The request that waits for its answer: results, lines, and what is taken for the answer.
#include <atomic>
#include <future>
#include <thread>

#include "SenderFixture.h"

namespace velp::test {
namespace {

using testing::ElementsAre;

class SynchronousRequest : public SenderFixture {
 protected:
  int send(unsigned short timeout = 20) {
    return sut().sendRequestWaitForResponse("Service", request, response, timeout);
  }

  const Response progress = makeResponse(eventList, Response::STATUS_PROGRESS, {50});
  const Response done = makeResponse(eventList, Response::STATUS_OK, {1, 2, 3});
  const std::string ignored = filled(texts::responseIgnored, "getEventList(50)");
};

TEST_F(SynchronousRequest, SendsTheRequestAsItIs) {
  answerWith({done});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(service.next<Request>(), request);
}

TEST_F(SynchronousRequest, ReturnsTheWholeFinalResponse) {
  Response full = done;
  full.setFlag(9);
  full.setText("text");
  full.setContext(0x0102030405060708ull);
  full.setSourceChannel("channel");
  full.setRoute({0, 5});
  answerWith({full});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response, full);
  EXPECT_EQ(response.getSourceChannel(), "channel");
  EXPECT_EQ(response.getRoute(), (Bytes{0, 5}));
}

TEST_F(SynchronousRequest, TakesAnErrorForFinal) {
  answerWith({makeResponse(eventList, Response::STATUS_ERROR, {0, 0, 0, 7})});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response.getErrorCode(), Response::ERROR_BUSY);
}

TEST_F(SynchronousRequest, TakesAnUnknownStatusForFinal) {
  answerWith({makeResponse(eventList, static_cast<Response::msgStatus_t>(9))});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response.getStatus(), 9u);
}

TEST_F(SynchronousRequest, GoesOnWaitingAfterProgress) {
  answerWith({progress, progress, done});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response, done);
}

TEST_F(SynchronousRequest, ReturnsMinus1WhenTheBusRefusesIt) {
  EXPECT_EQ(sut().sendRequestWaitForResponse("Nobody", request, response, 20), -1);

  EXPECT_THAT(capture.lines(), ElementsAre(texts::requestNotSent));
}

TEST_F(SynchronousRequest, ReturnsMinus2WhenTimeRunsOut) {
  EXPECT_EQ(send(1), -2);

  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::responseTimeout, 1, "getEventList(50)", "Service")));
}

TEST_F(SynchronousRequest, WithTimeoutZeroReturnsMinus2AtOnce) {
  EXPECT_EQ(send(0), -2);

  EXPECT_EQ(capture.count(filled(texts::responseTimeout, 0, "getEventList(50)", "Service")), 1u);
}

TEST_F(SynchronousRequest, LeavesTheResponseAloneWithoutAFinalOne) {
  const Response before = response;
  answerWith({progress});

  EXPECT_EQ(send(1), -2);

  EXPECT_EQ(response, before);
}

TEST_F(SynchronousRequest, WritesItsStoryAtLevelOne) {
  sut().traceLevel = 1;
  service.onRequest([this](const Request&) {
    service.sendTo("Client", progress);
    capture.waitForLine(texts::progressSeen);
    service.sendTo("Client", done);
  });

  EXPECT_EQ(send(), 0);

  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::requestSent, "Service", "getEventList(50)"),
                          texts::progressReceived, texts::progressSeen,
                          filled(texts::finalReceived, "OK")));
}

TEST_F(SynchronousRequest, WritesNothingAtLevelZero) {
  answerWith({progress, done});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(capture.text(), "");
}

TEST_F(SynchronousRequest, IgnoresAnAnswerFromAnotherSource) {
  Peer other("Other");
  service.onRequest([this, &other](const Request&) {
    other.sendTo("Client", makeResponse(eventList, Response::STATUS_ERROR));
    capture.waitForLine(ignored);
    service.sendTo("Client", done);
  });

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response, done);
  EXPECT_EQ(capture.count(ignored), 1u);
}

TEST_F(SynchronousRequest, IgnoresASourceThatOnlyBeginsLikeTheTarget) {
  Peer other("Service2");
  service.onRequest([this, &other](const Request&) {
    other.sendTo("Client", makeResponse(eventList, Response::STATUS_ERROR));
    capture.waitForLine(ignored);
    service.sendTo("Client", done);
  });

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response, done);
}

TEST_F(SynchronousRequest, IgnoresAnAnswerToAnotherID) {
  answerWith({makeResponse(VelpClientMessageBase::MSG_REMOVE_DATA, Response::STATUS_OK), done});

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response, done);
  EXPECT_THAT(capture.lines(), ElementsAre(filled(texts::responseIgnored, "removeData(3)")));
}

TEST_F(SynchronousRequest, NeverTakesTheBaseIDForTheAnsweredID) {
  const Request unset(VelpClientMessageBase::MSG_UNSET, nullptr, 0);
  service.onRequest([this](const Request&) { service.sendTo("Client", done); });

  EXPECT_EQ(sut().sendRequestWaitForResponse("Service", unset, response, 1), -2);

  EXPECT_EQ(capture.count(ignored), 1u);
}

TEST_F(SynchronousRequest, PassesOverMessagesThatAreNoResponse) {
  service.onRequest([this](const Request&) {
    service.sendTo("Client", request);
    service.sendTo("Client", SystemMessage("text", 10));
    sut().velpBusProxyCb(nullptr, "Service", "Client");
    service.sendTo("Client", done);
  });

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(response, done);
  EXPECT_EQ(capture.text(), "");
}

TEST_F(SynchronousRequest, WhileNoneIsOutstandingResponsesAreDroppedInSilence) {
  sut().traceLevel = 1;

  sut().velpBusProxyCb(&done, "Service", "Client");
  sut().velpBusProxyCb(nullptr, "Service", "Client");

  EXPECT_EQ(capture.text(), "");
}

TEST_F(SynchronousRequest, ThatWasAnsweredLeavesNothingOutstanding) {
  answerWith({done});
  EXPECT_EQ(send(), 0);

  sut().velpBusProxyCb(&progress, "Other", "Client");

  EXPECT_EQ(capture.text(), "");
}

TEST_F(SynchronousRequest, ThatWasRefusedLeavesNothingOutstanding) {
  EXPECT_EQ(sut().sendRequestWaitForResponse("Nobody", request, response, 20), -1);
  capture.clear();

  sut().velpBusProxyCb(&done, "Other", "Client");

  EXPECT_EQ(capture.text(), "");
}

TEST_F(SynchronousRequest, ThatTimedOutDropsALateAnswerInSilence) {
  EXPECT_EQ(send(0), -2);
  capture.clear();

  sut().velpBusProxyCb(&done, "Service", "Client");

  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(response, Response());
}

TEST_F(SynchronousRequest, OfASecondThreadIsSentOnlyAfterTheFirstHasReturned) {
  std::promise<void> firstArrived;
  std::atomic<int> requests{0};
  std::atomic<bool> firstAnswered{false};
  std::atomic<bool> overtaken{false};
  service.onRequest([&](const Request&) {
    if (++requests == 1) return firstArrived.set_value();
    if (!firstAnswered) overtaken = true;
    service.sendTo("Client", done);
  });
  Response secondResponse;

  std::thread first([&] { EXPECT_EQ(send(), 0); });
  firstArrived.get_future().wait();
  std::thread second([&] {
    EXPECT_EQ(sut().sendRequestWaitForResponse("Service", request, secondResponse, 20), 0);
  });
  // Whatever else is sent meanwhile reaches the service; the second request does not.
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(sut().sendMsg("Service", SystemMessage("settle", 10)));
    std::this_thread::yield();
  }
  firstAnswered = true;
  service.sendTo("Client", done);
  first.join();
  second.join();

  EXPECT_FALSE(overtaken);
  EXPECT_EQ(secondResponse, done);
}

TEST_F(SynchronousRequest, LetsOrdinarySendsGoOutMeanwhile) {
  std::promise<bool> sent;
  service.onRequest([&](const Request&) {
    std::thread([&] { sent.set_value(sut().sendMsg("Service", SystemMessage("x", 10))); }).join();
    service.sendTo("Client", done);
  });

  EXPECT_EQ(send(), 0);

  EXPECT_TRUE(sent.get_future().get());
}

TEST_F(SynchronousRequest, CanFollowOneAnotherManyTimes) {
  answerWith({progress, done});

  for (int i = 0; i < 500; ++i) ASSERT_EQ(send(), 0) << i;
}

TEST_F(SynchronousRequest, MayHaveItsTraceLevelChangedMeanwhile) {
  answerWith({progress, done});
  std::atomic<bool> stop{false};
  std::thread changer([&stop] {
    for (std::uint32_t level = 0; !stop; level = (level + 1) % 3) sut().traceLevel = level;
  });

  for (int i = 0; i < 100; ++i) EXPECT_EQ(send(), 0);

  stop = true;
  changer.join();
  EXPECT_EQ(capture.countContaining("[ERROR]"), 0u);
}

}  // namespace
}  // namespace velp::test
