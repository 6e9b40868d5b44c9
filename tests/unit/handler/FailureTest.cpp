// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What a handler does when the system's threads and conditions fail it, or a callback does.
#include <cerrno>
#include <iostream>
#include <stdexcept>

#include "LifecycleFixture.h"
#include "ThreadCalls.h"
#include "unit/runtime/PosixFailures.h"

namespace velp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HandlerFailure : public Lifecycle {
 protected:
  // Does what a worker does at its end, for a threadCode() that an exception has left.
  void leaveByHand() {
    EXPECT_FALSE(HandlerInside::isLocked(*sut));
    HandlerInside::clearRunning(*sut);
    VelpBusProxy::getInstance()->removeCallBack(*sut);
  }
};
using HandlerFailureDeathTest = HandlerFailure;

TEST_F(HandlerFailure, WithoutAThreadTheHandlerEndsAllTheSame) {
  {
    const FailingCall failing(PosixCall::threadCreate, EAGAIN);
    sut = std::make_unique<VelpMsgHandler>(2);
  }
  EXPECT_FALSE(HandlerInside::hasHandle(*sut));

  sut->stop();

  EXPECT_THAT(capture.lines(), ElementsAre(texts::handlerStops, texts::handlerStopped));
}

TEST_F(HandlerFailure, WaitThatFailsThrowsTheDestroyText) {
  makeStopped(0);
  HandlerInside::setRunning(*sut);
  const FailingCall failing(PosixCall::condWait, EPERM);

  EXPECT_EQ(thrownBy([this] { sut->threadCode(); }),
            errorText(EPERM, texts::conditionNotDestroyed));

  leaveByHand();
}

TEST_F(HandlerFailure, ConditionThatCannotBeMadeLeavesNoHandlerBehind) {
  const FailingCall failing(PosixCall::condInit, ENOMEM);

  EXPECT_EQ(thrownBy([] { VelpMsgHandler handler(0); }),
            errorText(ENOMEM, texts::conditionNotCreated));

  EXPECT_THAT(registrations().all(), IsEmpty());
}

TEST_F(HandlerFailure, WaitForTheBusThatFailsLeavesNoWorkerBehind) {
  Latch waited;
  registrations().before("setRxFilter", [&] { EXPECT_TRUE(waited.waitFor()); });
  const FailingCall failing(PosixCall::condWait, EPERM, [&] { waited.arrive(); });

  EXPECT_EQ(thrownBy([this] { sut = std::make_unique<VelpMsgHandler>(2); }),
            errorText(EPERM, texts::conditionNotDestroyed));

  EXPECT_THAT(registrations().all(),
              ElementsAre("setRxFilter f000 f001", "setCallBack", "removeCallBack"));
  EXPECT_EQ(capture.count(texts::handlerStops), 0u);
}

TEST_F(HandlerFailure, JoinThatFailsIsNotExamined) {
  makeIdle();
  threadCalls().joinResult = EINVAL;

  sut->stop();

  threadCalls().joinResult = 0;
  EXPECT_FALSE(HandlerInside::hasHandle(*sut));
  EXPECT_THAT(capture.lines(), ElementsAre(texts::workerWaits, texts::handlerStops, wokenToEndLine,
                                           texts::handlerStopped));
}

TEST_F(HandlerFailure, ExceptionOfARequestCallbackLeavesTheWorkersBodyWithTheLockFree) {
  makeStopped(0);
  sut->registerRequest(eventList, AVAILABLE, [](const Request&) -> requestState_t {
    throw std::runtime_error("out of order");
  });
  giveRequest(eventList);
  HandlerInside::setRunning(*sut);

  EXPECT_EQ(thrownBy([this] { sut->threadCode(); }), "out of order");

  leaveByHand();
  EXPECT_EQ(sut->getRequestState(eventList), BUSY) << "there is no result to store";
}

TEST_F(HandlerFailure, ExceptionOfAResponseCallbackLeavesTheWorkersBodyWithTheLockFree) {
  makeStopped(0);
  sut->registerResponse(eventList, [](const Response&) { throw std::runtime_error("odd answer"); });
  giveResponse(eventList);
  HandlerInside::setRunning(*sut);

  EXPECT_EQ(thrownBy([this] { sut->threadCode(); }), "odd answer");

  leaveByHand();
}

TEST_F(HandlerFailureDeathTest, WaitOfTheWorkerThatFailsEndsTheProcessWithTheDestroyText) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        std::cout.rdbuf(std::cerr.rdbuf());
        sut = std::make_unique<VelpMsgHandler>(0);
        // Only the calls of the thread that makes it fail: the worker's, from its next wait on.
        sut->registerRequest(eventList, AVAILABLE, [](const Request&) {
          static const FailingCall failing(PosixCall::condWait, EPERM);
          return AVAILABLE;
        });
        giveRequest(eventList);
        EXPECT_TRUE(served.waitFor()) << "never served";
      },
      testing::HasSubstr(std::string("exception left thread ") + texts::workerThread + ": " +
                         texts::conditionNotDestroyed));
}

TEST_F(HandlerFailureDeathTest, ConditionThatCannotBeDestroyedEndsTheProcessWithItsText) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  makeStopped(0);
  EXPECT_DEATH(
      {
        const FailingCall failing(PosixCall::condDestroy, EBUSY);
        sut.reset();
      },
      texts::conditionNotDestroyed);
}

}  // namespace
}  // namespace velp::test
