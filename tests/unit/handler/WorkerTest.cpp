// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the worker does with what is queued: whom it calls, in which order, and what it keeps.
#include <pthread.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <mutex>

#include "HandlerFixture.h"

namespace velp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The line of each step at trace level 2.
const std::string requestQueuedLine = filled(texts::requestQueued, "Client");
const std::string responseQueuedLine = filled(texts::responseQueued, "Client");

class Worker : public HandlerFixture {
 protected:
  // Registers a callback that writes `name` down, does `then`, and returns AVAILABLE.
  void note(velpMsgID_t id, const std::string& name, const std::function<void()>& then = {}) {
    sut->registerRequest(id, AVAILABLE, [this, name, then](const Request&) {
      write(name);
      if (then) then();
      served.arrive();
      return AVAILABLE;
    });
  }
  void noteResponse(velpMsgID_t id, const std::function<void()>& then = {}) {
    sut->registerResponse(id, [this, then](const Response& response) {
      write("response from " + response.getText());
      if (then) then();
      received.arrive();
    });
  }
  void write(const std::string& name) {
    std::lock_guard<std::mutex> locker(mutex);
    order.push_back(name);
  }
  std::vector<std::string> written() {
    std::lock_guard<std::mutex> locker(mutex);
    return order;
  }

 private:
  std::mutex mutex;
  std::vector<std::string> order;
};

TEST_F(Worker, WritesThatItWaitsOnceAndThenNothing) {
  makeIdle();

  EXPECT_EQ(sut->getRequestState(eventList), NOT_AVAILABLE);

  EXPECT_THAT(capture.lines(), ElementsAre(texts::workerWaits));
}

TEST_F(Worker, IsOnTheBusWhenTheConstructorReturns) {
  for (int round = 0; round < 100; ++round) {
    sut = std::make_unique<VelpMsgHandler>(0);
    ASSERT_TRUE(client.sendTo("Service", Request(eventList, nullptr, 0)));
    EXPECT_EQ(answer().getErrorCode(), Response::ERROR_NOT_AVAILABLE) << "round " << round;
    sut.reset();
  }
}

TEST_F(Worker, CallsTheCallbackWithARequestThatNamesItsSender) {
  makeIdle();
  std::promise<Request> called;
  sut->registerRequest(eventList, AVAILABLE, [&called](const Request& request) {
    called.set_value(request);
    return AVAILABLE;
  });
  const unsigned char data[] = {1, 2};

  ASSERT_TRUE(client.sendTo("Service", Request(eventList, data, 2)));

  const Request request = called.get_future().get();
  EXPECT_EQ(request.getText(), "Client");
  EXPECT_EQ(request.getMsgID(), eventList);
  EXPECT_THAT(request.getPayload(), ElementsAre(1, 2));
}

TEST_F(Worker, CallsTheCallbackOfTheAnsweredIDWithAResponseThatNamesItsSender) {
  makeIdle();
  noteResponse(eventList);
  sut->registerResponse(VelpClientMessageBase::MSG_UNSET,
                        [this](const Response&) { write("by its base ID"); });

  ASSERT_TRUE(client.sendTo("Service", Response(eventList, Response::STATUS_OK)));

  ASSERT_TRUE(received.waitFor());
  EXPECT_THAT(written(), ElementsAre("response from Client"));
}

TEST_F(Worker, RunsCallbacksOnOneThreadOfItsOwn) {
  makeIdle();
  std::array<char, 16> name = {};
  note(eventList, "", [&name] { pthread_getname_np(pthread_self(), name.data(), name.size()); });

  giveRequest(eventList);

  ASSERT_TRUE(served.waitFor());
  EXPECT_STREQ(name.data(), texts::workerThread);
}

TEST_F(Worker, RunsCallbacksOneAtATime) {
  makeStopped(0);
  std::atomic<int> inside{0};
  std::atomic<int> most{0};
  const auto passThrough = [&inside, &most] {
    const int now = ++inside;
    if (now > most) most = now;
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    --inside;
  };
  note(eventList, "", passThrough);
  note(otherID, "", passThrough);
  noteResponse(eventList, passThrough);
  sut->run();

  giveResponse(eventList);
  giveRequest(eventList);
  giveRequest(otherID);

  ASSERT_TRUE(served.waitFor(2) && received.waitFor(1));
  EXPECT_EQ(most, 1);
}

TEST_F(Worker, HoldsNoLockWhileACallbackRuns) {
  makeIdle();
  note(eventList, "", [this] {
    EXPECT_EQ(sut->getRequestState(eventList), BUSY);
    sut->setRequestState(eventList, INVALID);
    note(otherID, "");
    noteResponse(eventList);
    giveRequest(otherID);
  });
  noteResponse(otherID, [this] { EXPECT_EQ(sut->getRequestState(otherID), AVAILABLE); });

  giveRequest(eventList);
  ASSERT_TRUE(served.waitFor(2));
  giveResponse(otherID);

  ASSERT_TRUE(received.waitFor());
}

TEST_F(Worker, StoresWhatTheCallbackReturnsAsTheState) {
  for (const requestState_t result : {NOT_AVAILABLE, AVAILABLE, BUSY, INVALID}) {
    makeIdle();
    serve(eventList, result);

    giveRequest(eventList);

    EXPECT_TRUE(capture.waitForLine(texts::workerWaits, 2));
    EXPECT_EQ(sut->getRequestState(eventList), result);
    sut.reset();
    capture.clear();
  }
}

TEST_F(Worker, TakesTheNextRequestAfterACallbackThatReturnedAvailable) {
  makeIdle();
  serve(eventList);

  giveRequest(eventList);
  EXPECT_TRUE(capture.waitForLine(texts::workerWaits, 2));
  giveRequest(eventList);

  EXPECT_TRUE(served.waitFor(2));
}

TEST_F(Worker, RefusesRequestsAfterACallbackThatReturnedBusyUntilTheStateIsSet) {
  makeIdle();
  serve(eventList, BUSY);
  giveRequest(eventList);
  EXPECT_TRUE(capture.waitForLine(texts::workerWaits, 2));

  giveRequest(eventList);
  EXPECT_EQ(answer().getErrorCode(), Response::ERROR_BUSY);
  EXPECT_EQ(served.count(), 1u);

  sut->setRequestState(eventList, AVAILABLE);
  giveRequest(eventList);
  EXPECT_TRUE(served.waitFor(2));
}

TEST_F(Worker, WritesTheStoryOfARequestAtLevelTwo) {
  makeIdle();
  serve(eventList);

  giveRequest(eventList);
  ASSERT_TRUE(capture.waitForLine(texts::workerWaits, 2));

  EXPECT_THAT(
      capture.lines(),
      ElementsAre(texts::workerWaits,
                  filled(texts::stateSet, "getEventList(50)", texts::states[BUSY]),
                  requestQueuedLine, filled(texts::workerWoken, 1, 1, 0), texts::requestCallback,
                  filled(texts::requestDone, texts::states[AVAILABLE]),
                  filled(texts::stateSet, "getEventList(50)", texts::states[AVAILABLE]),
                  texts::workerWaits));
}

TEST_F(Worker, WritesTheStoryOfAResponseAtLevelTwo) {
  makeIdle();
  receive(eventList);

  giveResponse(eventList);
  ASSERT_TRUE(capture.waitForLine(texts::workerWaits, 2));

  EXPECT_THAT(
      capture.lines(),
      ElementsAre(texts::workerWaits, responseQueuedLine, filled(texts::workerWoken, 1, 0, 1),
                  texts::responseCallback, texts::responseDone, texts::workerWaits));
}

TEST_F(Worker, WritesOfARequestOnlyItsStatesAndItsQueueingAtLevelOne) {
  makeStopped(1);
  serve(eventList);
  receive(eventList);
  giveResponse(eventList);
  giveRequest(eventList);

  sut->run();
  ASSERT_TRUE(received.waitFor());
  sut->stop();

  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::stateSet, "getEventList(50)", texts::states[BUSY]),
                          requestQueuedLine,
                          filled(texts::stateSet, "getEventList(50)", texts::states[AVAILABLE])));
}

TEST_F(Worker, ServesInSilenceAtLevelZero) {
  makeStopped(0);
  serve(eventList);
  receive(eventList);
  giveResponse(eventList);
  giveRequest(eventList);

  sut->run();
  ASSERT_TRUE(received.waitFor());
  sut->stop();

  EXPECT_EQ(served.count(), 1u);
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Worker, ServesRequestsBeforeResponses) {
  makeStopped(0);
  note(eventList, "request");
  noteResponse(eventList);
  giveResponse(eventList);
  giveRequest(eventList);

  sut->run();

  ASSERT_TRUE(received.waitFor());
  EXPECT_THAT(written(), ElementsAre("request", "response from Client"));
}

TEST_F(Worker, ServesEachQueueInTheOrderOfArrival) {
  makeStopped(0);
  note(eventList, "first");
  note(removeData, "second");
  note(otherID, "third");
  noteResponse(eventList);
  for (const velpMsgID_t id : {eventList, removeData, otherID}) giveRequest(id);
  for (const char* source : {"A", "B", "C"}) {
    give(Response(eventList, Response::STATUS_OK), source);
  }

  sut->run();

  ASSERT_TRUE(received.waitFor(3));
  EXPECT_THAT(written(), ElementsAre("first", "second", "third", "response from A",
                                     "response from B", "response from C"));
}

TEST_F(Worker, ServesARequestThatArrivesAmongRequestsBeforeTheResponses) {
  makeStopped(0);
  note(eventList, "first", [this] { giveRequest(otherID); });
  note(otherID, "second");
  noteResponse(eventList);
  giveResponse(eventList);
  giveRequest(eventList);

  sut->run();

  ASSERT_TRUE(received.waitFor());
  EXPECT_THAT(written(), ElementsAre("first", "second", "response from Client"));
}

TEST_F(Worker, ServesARequestThatArrivesAmongResponsesAfterAllOfThem) {
  makeStopped(0);
  note(eventList, "request");
  noteResponse(eventList, [this] { giveRequest(eventList); });
  noteResponse(otherID);
  giveResponse(eventList);
  give(Response(otherID, Response::STATUS_OK), "Other");

  sut->run();

  ASSERT_TRUE(served.waitFor());
  EXPECT_THAT(written(), ElementsAre("response from Client", "response from Other", "request"));
}

TEST_F(Worker, HoldsTheOnlyReferenceToTheMessageWhileItsCallbackRuns) {
  makeStopped(0);
  boost::weak_ptr<Request> request;
  boost::weak_ptr<Response> response;
  long uses = 0;
  note(eventList, "", [&] { uses += request.use_count(); });
  noteResponse(eventList, [&] { uses += 10 * response.use_count(); });
  giveRequest(eventList);
  giveResponse(eventList);
  request = HandlerInside::firstRequest(*sut);
  response = HandlerInside::firstResponse(*sut);

  sut->run();
  ASSERT_TRUE(received.waitFor());
  sut->stop();

  EXPECT_EQ(uses, 11);
  EXPECT_TRUE(request.expired());
  EXPECT_TRUE(response.expired());
}

TEST_F(Worker, FindsARequestNotAvailableWhoseRegistrationIsGone) {
  makeStopped(2);
  serve(eventList);
  giveRequest(eventList);
  HandlerInside::forgetRegistrations(*sut);
  capture.clear();

  sut->run();
  ASSERT_TRUE(capture.waitForLine(texts::workerWaits));

  EXPECT_THAT(capture.lines(),
              ElementsAre(filled(texts::requestDone, texts::states[NOT_AVAILABLE]),
                          filled(texts::stateSet, "getEventList(50)", texts::states[NOT_AVAILABLE]),
                          filled(texts::idNotFound, "getEventList(50)"), texts::workerWaits));
  EXPECT_EQ(served.count(), 0u);
}

TEST_F(Worker, CallsWhatWasRegisteredLast) {
  makeStopped(0);
  note(eventList, "first");
  giveRequest(eventList);
  note(eventList, "second");

  sut->run();

  ASSERT_TRUE(served.waitFor());
  EXPECT_THAT(written(), ElementsAre("second"));
}

TEST_F(Worker, CallsTheRegisteredCallbacksThemselvesAndNoCopies) {
  makeIdle();
  std::atomic<int> requests{0};
  std::atomic<int> responses{0};
  // Each counts in a member of its own: a copy would start anew.
  sut->registerRequest(eventList, AVAILABLE, [&requests, own = 0](const Request&) mutable {
    requests = ++own;
    return AVAILABLE;
  });
  sut->registerResponse(eventList,
                        [&responses, own = 0](const Response&) mutable { responses = ++own; });

  for (std::size_t round = 1; round <= 2; ++round) {
    giveRequest(eventList);
    ASSERT_TRUE(capture.waitForLine(texts::workerWaits, 2 * round));
    giveResponse(eventList);
    ASSERT_TRUE(capture.waitForLine(texts::workerWaits, 2 * round + 1));
  }

  EXPECT_EQ(requests, 2);
  EXPECT_EQ(responses, 2);
}

using WorkerDeathTest = HandlerFixture;

TEST_F(WorkerDeathTest, ExceptionOfACallbackEndsTheProcessWithItsText) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        std::cout.rdbuf(std::cerr.rdbuf());
        sut = std::make_unique<VelpMsgHandler>(0);
        sut->registerRequest(eventList, AVAILABLE, [](const Request&) -> requestState_t {
          throw std::runtime_error("out of order");
        });
        giveRequest(eventList);
        EXPECT_TRUE(served.waitFor()) << "never served";
      },
      testing::HasSubstr(std::string("[ERROR] Thread::startWrapper() exception left thread ") +
                         texts::workerThread + ": out of order"));
}

}  // namespace
}  // namespace velp::test
