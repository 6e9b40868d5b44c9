// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the progress handler asks of its timer, what it holds its lock for, and how it fails.
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>

#include "HookedProgress.h"
#include "velp/runtime/LogUtil.h"
#include "velp/runtime/MutexLocker.h"

namespace velp::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProgressTimer : public HookedProgress {
 protected:
  ProgressTimer() {
    timerHooks().registerTimer = [this](VelTimer&, const Registration& registration) {
      registrations.push_back(registration);
      return static_cast<unsigned short>(4710 + registrations.size());
    };
    timerHooks().cancelTimer = [this](unsigned short handle) { cancelled.push_back(handle); };
  }

  // Six responses.
  void sendInEachWay() {
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(sut->update(20, 90, 4), 0);
    EXPECT_EQ(sut->update(20, 90, "text"), 0);
    EXPECT_EQ(sut->updateInfo(4), 0);
    EXPECT_EQ(sut->updateInfo("text"), 0);
    tick();
  }

  std::vector<Registration> registrations;
  std::vector<unsigned short> cancelled;
};

using ProgressOrder = ProgressTimer;
using ProgressTimerQuirk = ProgressTimer;

class ProgressLock : public ProgressTimer {
 protected:
  // Holds back the line that `operation` writes first, and looks whether the lock is taken then.
  void expectLockedWhileLogging(const std::function<void()>& operation) {
    std::future<void> done;
    {
      MutexLocker locker(LogUtil::mutex);
      done = std::async(std::launch::async, operation);
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (!sut->isLocked() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
      }
      EXPECT_EQ(done.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
      EXPECT_TRUE(sut->isLocked());
    }
    done.get();
    EXPECT_FALSE(sut->isLocked());
  }
};

class ProgressFailure : public ProgressTimer {
 protected:
  static void letSendsThrow() {
    timerHooks().sendTo = [](const std::string&, const MessageBase&) -> bool {
      throw std::runtime_error("no send");
    };
  }
  void letSendsPass() {
    timerHooks().sendTo = [this](const std::string& target, const MessageBase& message) {
      sent.add(target, message);
      return true;
    };
  }
};

using ProgressFailureQuirk = ProgressFailure;

TEST_F(ProgressTimer, GetsTheIntervalAsItIsAndIsPeriodic) {
  EXPECT_EQ(start(0x123456789ABCDEFull), 0);

  ASSERT_EQ(registrations.size(), 1u);
  EXPECT_EQ(registrations[0].interval, 0x123456789ABCDEFull);
  EXPECT_EQ(registrations[0].id, 50);
  EXPECT_TRUE(registrations[0].periodic);
}

TEST_F(ProgressTimer, IsRegisteredAfterTheFirstResponse) {
  timerHooks().registerTimer = [this](VelTimer&, const Registration&) -> unsigned short {
    EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10"));
    return 1;
  };

  EXPECT_EQ(start(), 0);

  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10"));
}

TEST_F(ProgressTimer, CallsOneTickWithEachCall) {
  EXPECT_EQ(start(), 0);
  unsigned long long period = 7;

  EXPECT_EQ(registrations.at(0).callback(1, 50, period), VelTimer::TIMER_CONTINUE);
  EXPECT_EQ(registrations.at(0).callback(2, 50, period), VelTimer::TIMER_CONTINUE);

  EXPECT_EQ(period, 7u);
  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10", "RequesterOfALongName 50 15",
                                      "RequesterOfALongName 50 20"));
}

TEST_F(ProgressOrder, LinesAreWrittenBeforeTheResponseThatTheyTellOf) {
  std::vector<std::size_t> linesAtSends;
  timerHooks().sendTo = [&](const std::string&, const MessageBase&) {
    linesAtSends.push_back(capture.lines().size());
    return true;
  };
  sut->traceLevel = 1;

  sendInEachWay();

  EXPECT_THAT(linesAtSends, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(ProgressTimer, IsCancelledByStopWithItsHandle) {
  EXPECT_EQ(start(), 0);
  EXPECT_THAT(cancelled, IsEmpty());

  sut->stop();

  EXPECT_THAT(cancelled, ElementsAre(4711));
}

TEST_F(ProgressTimer, OfAHandlerThatWasNeverStartedIsCancelledAsHandleZero) {
  sut->stop();

  EXPECT_THAT(cancelled, ElementsAre(0));
}

TEST_F(ProgressTimer, IsForgottenOnceCancelled) {
  EXPECT_EQ(start(), 0);

  sut->stop();
  sut->stop();

  EXPECT_THAT(cancelled, ElementsAre(4711, 0));
}

TEST_F(ProgressTimer, IsRegisteredAnewByEachStart) {
  EXPECT_EQ(start(), 0);
  sut->stop();
  EXPECT_EQ(start(), 0);
  sut->stop();

  EXPECT_THAT(cancelled, ElementsAre(4711, 4712));
}

TEST_F(ProgressTimer, OfTheFirstStartSurvivesASecondOne) {
  EXPECT_EQ(start(), 0);

  EXPECT_EQ(sut->start("Other", removeData, 0, 0, 0, 1), -1);
  sut->stop();

  EXPECT_EQ(registrations.size(), 1u);
  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10"));
  EXPECT_THAT(cancelled, ElementsAre(4711));
}

TEST_F(ProgressTimer, IsLeftAloneByUpdates) {
  EXPECT_EQ(start(), 0);

  EXPECT_EQ(sut->update(20, 90, 4), 0);
  EXPECT_EQ(sut->update(20, 90, "text"), 0);
  EXPECT_EQ(sut->updateInfo(4), 0);
  EXPECT_EQ(sut->updateInfo("text"), 0);

  EXPECT_EQ(registrations.size(), 1u);
  EXPECT_THAT(cancelled, IsEmpty());
}

TEST_F(ProgressTimerQuirk, TimerGetsTheLow16BitsOfTheID) {
  const auto id = static_cast<VelpClientMessageBase::velpMsgID_t>(0xABCD1234);

  EXPECT_EQ(sut->start("RequesterOfALongName", id, 0, 90, 4, never), 0);

  EXPECT_EQ(registrations.at(0).id, 0x1234);
  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName " + std::to_string(0xABCD1234) + " 0"));
}

TEST_F(ProgressLock, IsHeldForEverySend) {
  unsigned int sends = 0;
  timerHooks().sendTo = [&](const std::string&, const MessageBase&) {
    EXPECT_TRUE(sut->isLocked());
    ++sends;
    return true;
  };

  sendInEachWay();

  EXPECT_EQ(sends, 6u);
  EXPECT_FALSE(sut->isLocked());
}

TEST_F(ProgressLock, IsHeldWhileTheTimerIsRegisteredAndCancelled) {
  unsigned int calls = 0;
  timerHooks().registerTimer = [&](VelTimer&, const Registration&) -> unsigned short {
    EXPECT_TRUE(sut->isLocked());
    return static_cast<unsigned short>(++calls);
  };
  timerHooks().cancelTimer = [&](unsigned short) {
    EXPECT_TRUE(sut->isLocked());
    ++calls;
  };

  EXPECT_EQ(start(), 0);
  EXPECT_FALSE(sut->isLocked());
  sut->stop();
  EXPECT_FALSE(sut->isLocked());

  EXPECT_EQ(calls, 2u);
}

TEST_F(ProgressLock, IsTakenBeforeTheFirstLineOfEachOperation) {
  EXPECT_EQ(start(), 0);
  sut->traceLevel = 2;

  expectLockedWhileLogging([this] { start(); });
  expectLockedWhileLogging([this] { sut->update(20, 90, 4); });
  expectLockedWhileLogging([this] { sut->update(20, 90, "text"); });
  expectLockedWhileLogging([this] { sut->updateInfo(4); });
  expectLockedWhileLogging([this] { sut->updateInfo("text"); });
  expectLockedWhileLogging([this] { tick(); });
  expectLockedWhileLogging([this] { sut->stop(); });
}

TEST_F(ProgressLock, IsHeldWhileARefusalIsWritten) {
  expectLockedWhileLogging([this] { sut->update(20, 90, 4); });
  expectLockedWhileLogging([this] { sut->update(20, 90, "text"); });
  expectLockedWhileLogging([this] { sut->updateInfo(4); });
  expectLockedWhileLogging([this] { sut->updateInfo("text"); });
  EXPECT_EQ(start(), 0);
  expectLockedWhileLogging([this] { start(); });
}

TEST_F(ProgressLock, IsReleasedByRefusedCalls) {
  EXPECT_EQ(sut->update(20, 90, 4), -1);
  EXPECT_FALSE(sut->isLocked());
  EXPECT_EQ(sut->update(20, 90, "text"), -1);
  EXPECT_FALSE(sut->isLocked());
  EXPECT_EQ(sut->updateInfo(4), -1);
  EXPECT_FALSE(sut->isLocked());
  EXPECT_EQ(sut->updateInfo("text"), -1);
  EXPECT_FALSE(sut->isLocked());

  EXPECT_EQ(start(), 0);
  EXPECT_EQ(start(), -1);
  EXPECT_FALSE(sut->isLocked());
}

TEST_F(ProgressFailure, OfASendReachesTheCallerOfEachOperationWithTheLockReleased) {
  EXPECT_EQ(start(), 0);
  letSendsThrow();
  const std::vector<std::function<void()>> operations = {
      [this] { sut->update(20, 90, 4); },
      [this] { sut->update(20, 90, "text"); },
      [this] { sut->updateInfo(4); },
      [this] { sut->updateInfo("text"); },
      [this] { tick(); },
  };

  for (const auto& operation : operations) {
    EXPECT_THROW(operation(), std::runtime_error);
    EXPECT_FALSE(sut->isLocked());
  }
}

TEST_F(ProgressFailure, OfASendInATickEndsTheTicksUntilTheNextStart) {
  unsigned int sends = 0;
  Latch ticksAgain;
  timerHooks().registerTimer = registerForReal;
  timerHooks().sendTo = [&](const std::string&, const MessageBase&) {
    if (++sends == 2) throw std::runtime_error("no send");
    if (sends > 4) ticksAgain.arrive();
    return true;
  };

  EXPECT_EQ(start(1), 0);
  EXPECT_TRUE(capture.waitForLine(
      "[ERROR] VelTimer::runCallback() timer ended, callback threw, id=50: no send"));

  EXPECT_EQ(sut->updateInfo(4), 0);
  sut->stop();
  EXPECT_EQ(start(1), 0);
  EXPECT_TRUE(ticksAgain.waitFor(3));
  sut.reset();
}

TEST_F(ProgressFailureQuirk, StartWhoseSendThrowsLeavesTheHandlerActiveWithoutTicks) {
  letSendsThrow();

  EXPECT_THROW(start(), std::runtime_error);

  letSendsPass();
  EXPECT_FALSE(sut->isLocked());
  EXPECT_THAT(registrations, IsEmpty());
  EXPECT_EQ(start(), -1);
  EXPECT_EQ(sut->updateInfo(5), 0);
  EXPECT_THAT(sent.all(), ElementsAre("RequesterOfALongName 50 10"));
  sut->stop();
  EXPECT_THAT(cancelled, ElementsAre(0));
  EXPECT_EQ(start(), 0);
}

TEST_F(ProgressFailureQuirk, StartWhoseTimerThrowsLeavesTheHandlerActiveWithoutTicks) {
  timerHooks().registerTimer = [](VelTimer&, const Registration&) -> unsigned short {
    throw std::bad_alloc();
  };

  EXPECT_THROW(start(), std::bad_alloc);

  EXPECT_FALSE(sut->isLocked());
  EXPECT_EQ(start(), -1);
  sut->stop();
  EXPECT_THAT(cancelled, ElementsAre(0));
}

}  // namespace
}  // namespace velp::test
