// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The synchronous request in real time: progress keeps a wait alive beyond its time-out.
#include <chrono>
#include <functional>

#include "SenderFixture.h"
#include "velp/runtime/VelTimer.h"

namespace velp::test {
namespace {

using std::chrono::seconds;

class TimeLine : public SenderFixture {
 protected:
  TimeLine() { sut().traceLevel = 1; }

  // From the request on, calls `tick` every two seconds with 1, 2, 3 ...
  void answerEveryTwoSeconds(std::function<void(int)> tick) {
    service.onRequest([this, tick = std::move(tick)](const Request&) {
      auto count = std::make_shared<int>(0);
      EXPECT_NE(timer.registerTimer(
                    [tick, count](unsigned long long, unsigned short, unsigned long long&) {
                      tick(++*count);
                      return VelTimer::TIMER_CONTINUE;
                    },
                    2000, 1, true),
                0);
    });
  }

  // Sends with a time-out of 3 s; tells how long that took.
  int send() {
    const auto begin = std::chrono::steady_clock::now();
    const int result = sut().sendRequestWaitForResponse("Service", request, response, 3);
    elapsed = std::chrono::steady_clock::now() - begin;
    return result;
  }

  std::chrono::steady_clock::duration elapsed{};
  VelTimer timer;
};

TEST_F(TimeLine, ThreeProgressResponsesKeepAWaitOfThreeSecondsAliveForEight) {
  answerEveryTwoSeconds([this](int tick) {
    const auto status = tick <= 3 ? Response::STATUS_PROGRESS : Response::STATUS_OK;
    service.sendTo("Client", makeResponse(eventList, status));
  });

  EXPECT_EQ(send(), 0);

  EXPECT_EQ(capture.count(texts::progressSeen), 3u);
  EXPECT_GE(elapsed, seconds(7));
}

TEST_F(TimeLine, WithoutProgressTheSameWaitEndsAfterThreeSeconds) {
  answerEveryTwoSeconds([this](int tick) {
    if (tick == 4) service.sendTo("Client", makeResponse(eventList, Response::STATUS_OK));
  });

  EXPECT_EQ(send(), -2);

  EXPECT_EQ(capture.count(texts::progressSeen), 0u);
  EXPECT_GE(elapsed, seconds(3));
  EXPECT_LT(elapsed, seconds(8));
}

}  // namespace
}  // namespace velp::test
