// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The sender with the calls below it in the test's hands: failures, order and races on demand.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <future>
#include <new>
#include <thread>
#include <vector>

#include "Hooks.h"
#include "support/LogCapture.h"
#include "support/fixedTexts.h"
#include "velp/message/SystemMessage.h"
#include "velp/runtime/VelException.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;

class HookedSender : public testing::Test {
 protected:
  HookedSender() { done.setPayload({1, 2, 3}); }
  ~HookedSender() override {
    hooks() = Hooks();
    sut().traceLevel = 0;
  }

  static VelpMsgSender& sut() { return *VelpMsgSender::getInstance(); }

  int send(unsigned short timeout) {
    return sut().sendRequestWaitForResponse("Service", request, response, timeout);
  }
  void answer(const std::string& source = "Service") {
    sut().velpBusProxyCb(&done, source, "Client");
  }
  // From now on the answer is there before the send returns.
  void answerAtOnce() {
    hooks().sendTo = [this](const MessageBase&) {
      answer();
      return true;
    };
  }

  LogCapture capture;
  const Request request{eventList, nullptr, 0};
  Response done{eventList, Response::STATUS_OK};
  Response response;
};

class SynchronousRequest : public HookedSender {
 protected:
  void isLeftAloneByALateCopyFrom(const std::string& target) {
    sut().traceLevel = 1;
    std::promise<void> matched;
    std::promise<void> timedOut;
    hooks().beforeLine = [&](const std::string& text) {
      if (filled(texts::finalReceived, "OK").find(text) == std::string::npos) return;
      matched.set_value();
      timedOut.get_future().wait();
    };
    std::thread reception;
    hooks().sendTo = [&](const MessageBase&) {
      reception = std::thread([this, &target] { answer(target); });
      matched.get_future().wait();
      return true;
    };

    EXPECT_EQ(sut().sendRequestWaitForResponse(target, request, response, 0), -2);
    timedOut.set_value();
    reception.join();

    EXPECT_EQ(response, Response());
  }
};

TEST_F(SynchronousRequest, WithTimeoutZeroReturnsAnAnswerThatIsAlreadyIn) {
  answerAtOnce();

  EXPECT_EQ(send(0), 0);

  EXPECT_EQ(response, done);
}

TEST_F(SynchronousRequest, ThrowsWhenTheWaitFails) {
  hooks().condTimedWait = [](const timespec&) { return EPERM; };

  try {
    send(1);
    FAIL() << "did not throw";
  } catch (const VelException& e) {
    EXPECT_EQ(e.getErrorCode(), EPERM);
    EXPECT_EQ(std::string(e.what()).find(texts::conditionNotAwaited), 0u);
  }

  hooks() = Hooks();
  EXPECT_EQ(send(0), -2);
}

TEST_F(SynchronousRequest, LeavesItsLocksFreeWhenTheWaitFails) {
  hooks().condTimedWait = [](const timespec&) { return EPERM; };
  EXPECT_THROW(send(1), VelException);
  hooks() = Hooks();

  answerAtOnce();
  int result = -1;
  std::thread([&] { result = send(20); }).join();

  EXPECT_EQ(result, 0);
}

TEST_F(SynchronousRequest, TakesNothingOverFromOneWhoseWaitFailed) {
  hooks().condTimedWait = [](const timespec&) { return EPERM; };
  EXPECT_THROW(send(1), VelException);
  hooks() = Hooks();
  answer();
  response = Response();

  EXPECT_EQ(send(0), -2);

  EXPECT_EQ(response, Response());
}

TEST_F(SynchronousRequest, TakesNoProgressOverFromAnEarlierOne) {
  sut().traceLevel = 1;
  const Response progress(eventList, Response::STATUS_PROGRESS);
  // Both are in before the wait begins, which ends without a look at the progress.
  hooks().sendTo = [&](const MessageBase&) {
    sut().velpBusProxyCb(&progress, "Service", "Client");
    answer();
    return true;
  };
  EXPECT_EQ(send(0), 0);
  hooks() = Hooks();

  EXPECT_EQ(send(0), -2);

  EXPECT_EQ(capture.count(texts::progressReceived), 1u);
  EXPECT_EQ(capture.count(texts::progressSeen), 0u);
}

TEST_F(SynchronousRequest, WaitsAgainAfterAWakeUpWithoutNews) {
  sut().traceLevel = 1;
  int waits = 0;
  std::thread reception;
  // The answering thread needs the waiters' mutex, which is held here, for its last step only.
  hooks().condTimedWait = [&](const timespec&) {
    if (++waits == 3) reception = std::thread([this] { answer(); });
    return 0;
  };

  EXPECT_EQ(send(1), 0);
  reception.join();

  EXPECT_GE(waits, 3);
  EXPECT_EQ(capture.count(texts::progressSeen), 0u);
}

TEST_F(SynchronousRequest, MeasuresItsTimeOutOnTheMonotonicClock) {
  timespec seen = {};
  hooks().condTimedWait = [&seen](const timespec& deadline) {
    seen = deadline;
    return ETIMEDOUT;
  };
  timespec before;
  clock_gettime(CLOCK_MONOTONIC, &before);

  EXPECT_EQ(send(65535), -2);

  timespec after;
  clock_gettime(CLOCK_MONOTONIC, &after);
  EXPECT_GE(seen.tv_sec, before.tv_sec + 65535);
  EXPECT_LE(seen.tv_sec, after.tv_sec + 65535);
}

TEST_F(SynchronousRequest, DoesNotNeedTheSendLock) {
  std::promise<void> inside;
  std::promise<void> leave;
  hooks().sendTo = [&](const MessageBase& message) {
    if (dynamic_cast<const SystemMessage*>(&message) != nullptr) {
      inside.set_value();
      leave.get_future().wait();
    } else {
      answer();
    }
    return true;
  };
  std::thread other([] { sut().sendMsg("Service", SystemMessage("text", 10)); });
  inside.get_future().wait();

  EXPECT_EQ(send(20), 0);

  leave.set_value();
  other.join();
}

TEST_F(SynchronousRequest, LeavesTheResponseAloneWhenTimeRunsOutBetweenMatchAndCopy) {
  isLeftAloneByALateCopyFrom("Service");
}

TEST_F(SynchronousRequest, LeavesTheResponseAloneAlsoWhenItsTargetHasNoName) {
  // What is cleared at the end has the same name then.
  isLeftAloneByALateCopyFrom("");
}

class Reception : public HookedSender {};

TEST_F(Reception, ThrowsWhenTheSignalFails) {
  hooks().condSignal = [] { return EPERM; };
  hooks().sendTo = [this](const MessageBase&) {
    try {
      answer();
      ADD_FAILURE() << "did not throw";
    } catch (const VelException& e) {
      EXPECT_EQ(e.getErrorCode(), EPERM);
      EXPECT_EQ(std::string(e.what()).find(texts::conditionNotSignalled), 0u);
    }
    return true;
  };

  EXPECT_EQ(send(1), 0);
}

TEST_F(Reception, LeavesItsLocksFreeWhenTheSignalFails) {
  hooks().condSignal = [] { return EPERM; };
  hooks().sendTo = [this](const MessageBase&) {
    EXPECT_THROW(answer(), VelException);
    hooks().condSignal = nullptr;
    EXPECT_NO_THROW(answer());
    return true;
  };

  EXPECT_EQ(send(1), 0);
}

TEST_F(Reception, SignalsWithTheWaitersMutexHeld) {
  Mutex* mutex = nullptr;
  hooks().beforeWait = [&mutex](Mutex& waitMutex) { mutex = &waitMutex; };
  EXPECT_EQ(send(0), -2);
  ASSERT_NE(mutex, nullptr);
  bool held = false;
  hooks().condSignal = [mutex, &held] {
    if (mutex->tryLock()) {
      mutex->unlock();
    } else {
      held = true;
    }
    return 0;
  };
  answerAtOnce();

  EXPECT_EQ(send(0), 0);

  EXPECT_TRUE(held);
}

class SendLock : public HookedSender {
 protected:
  // Counts the threads that are in here at once.
  void passThrough() {
    const int now = ++inside;
    if (now > most) most = now;
    for (int i = 0; i < 10; ++i) std::this_thread::yield();
    --inside;
  }

  // Calls each a hundred times, in a thread of its own.
  static void runTogether(const std::vector<std::function<void()>>& functions) {
    std::vector<std::thread> threads;
    for (const auto& function : functions) {
      threads.emplace_back([&function] {
        for (int i = 0; i < 100; ++i) function();
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

  std::atomic<int> inside{0};
  std::atomic<int> most{0};
};

TEST_F(SendLock, LetsOneMessageOutAtATime) {
  hooks().sendTo = [this](const MessageBase&) {
    passThrough();
    return true;
  };
  constexpr auto code = Response::ERROR_BUSY;
  const std::vector<std::function<void()>> sends = {
      [this] { sut().sendMsg("Service", request); },
      [this] { sut().sendRequest("Service", request); },
      [] { sut().sendRequest("Service", eventList, nullptr, 0); },
      [this] { sut().sendResponse("Service", done); },
      [] { sut().sendResponseOK("Service", eventList, std::vector<unsigned char>{}); },
      [] { sut().sendResponseOK("Service", eventList, nullptr, 0); },
      [] { sut().sendResponseOK("Service", eventList, "", 1); },
      [] { sut().sendResponseError("Service", eventList, code, nullptr, 0); },
      [] { sut().sendResponseError("Service", eventList, code, ""); },
      [] { sut().sendResponseProgress("Service", eventList, 1, nullptr, 0); },
      [] { sut().sendResponseProgress("Service", eventList, 1, 2); },
      [] { sut().sendResponseProgress("Service", eventList, 1, ""); },
  };

  runTogether(sends);

  EXPECT_EQ(most, 1);
}

TEST_F(SendLock, LetsOneStringBeWrittenAtATime) {
  sut().traceLevel = 2;
  hooks().beforeLine = [this](const std::string&) { passThrough(); };
  const auto write = [] {
    std::vector<unsigned char> buf;
    sut().setString(buf, 1, "abc");
  };

  runTogether({write, write, write});

  EXPECT_EQ(most, 1);
}

TEST_F(SendLock, IsFreeAfterAnAllocationHasFailed) {
  const std::string text(1 << 20, 'x');
  std::vector<unsigned char> buf;

  hooks().refuseLargeAllocations = true;
  EXPECT_THROW(sut().setString(buf, 1, text), std::bad_alloc);
  EXPECT_THROW(sut().sendResponseOK("Service", eventList, text, 1), std::bad_alloc);
  EXPECT_THROW(sut().sendResponseProgress("Service", eventList, 1, text), std::bad_alloc);
  hooks().refuseLargeAllocations = false;

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, text, 1));
}

class Quirk : public HookedSender {};

TEST_F(Quirk, AnyWakeUpRearmsTheWholeTimeout) {
  constexpr long long tenMilliseconds = 10'000'000;
  const auto nanoseconds = [](const timespec& time) {
    return static_cast<long long>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
  };
  const auto now = [&nanoseconds] {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return nanoseconds(time);
  };
  const long long earliest = now() + 1'000'000'000;
  std::vector<long long> deadlines;
  hooks().condTimedWait = [&](const timespec& deadline) {
    deadlines.push_back(nanoseconds(deadline));
    const long long wakeUp = now() + tenMilliseconds;
    while (now() < wakeUp) std::this_thread::yield();
    return deadlines.size() < 3 ? 0 : ETIMEDOUT;
  };

  EXPECT_EQ(send(1), -2);

  ASSERT_EQ(deadlines.size(), 3u);
  EXPECT_GE(deadlines[0], earliest);
  EXPECT_GE(deadlines[1] - deadlines[0], tenMilliseconds);
  EXPECT_GE(deadlines[2] - deadlines[1], tenMilliseconds);
}

TEST_F(Quirk, AnswerBetweenTestAndWaitIsFoundByTheKeptSignal) {
  int waits = 0;
  hooks().beforeWait = [&](Mutex& waitMutex) VELP_REQUIRES(waitMutex) {
    ++waits;
    waitMutex.unlock();
    std::thread([this] { answer(); }).join();
    waitMutex.lock();
  };
  hooks().condTimedWait = [](const timespec&) { return ETIMEDOUT; };

  EXPECT_EQ(send(1), 0);

  EXPECT_EQ(waits, 1);
  EXPECT_EQ(response, done);
}

TEST_F(Quirk, FailedWaitLeavesTheRequestOutstanding) {
  hooks().condTimedWait = [](const timespec&) { return EPERM; };
  EXPECT_THROW(send(1), VelException);
  hooks() = Hooks();

  answer("Other");
  EXPECT_EQ(capture.count(filled(texts::responseIgnored, "getEventList(50)")), 1u);

  EXPECT_EQ(send(0), -2);
  capture.clear();
  answer("Other");
  EXPECT_EQ(capture.text(), "");
}

}  // namespace
}  // namespace velp::test
