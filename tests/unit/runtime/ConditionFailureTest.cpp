// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What Condition throws when the system refuses.
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include "PosixFailures.h"
#include "support/fixedTexts.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/MutexLocker.h"
#include "velp/runtime/VelException.h"

using velp::test::callsOf;
using velp::test::FailingCall;
using velp::test::PosixCall;
namespace texts = velp::test::texts;

namespace {

void expectVelException(const std::function<void()>& action, int code, const std::string& text,
                        const std::string& reason) {
  try {
    action();
    ADD_FAILURE() << "nothing thrown";
  } catch (const VelException& error) {
    EXPECT_EQ(error.getErrorCode(), code);
    EXPECT_EQ(error.what(), text + ": " + reason);
  }
}

struct ConditionFailure : testing::Test {
  ~ConditionFailure() noexcept override = default;

  void untimedWait() {
    MutexLocker locker(mutex);
    sut.wait(mutex);
  }
  int timedWait() {
    MutexLocker locker(mutex);
    return sut.wait(mutex, 0);
  }

  Mutex mutex;
  Condition sut;
};

using ConditionQuirk = ConditionFailure;

}  // namespace

TEST_F(ConditionQuirk, FailedUntimedWaitReportsTheDestroyText) {
  const FailingCall failing(PosixCall::condWait, EINVAL);

  expectVelException([this] { untimedWait(); }, EINVAL, texts::conditionNotDestroyed,
                     "Invalid argument (22)");
}

TEST_F(ConditionFailure, FailedTimedWaitThrowsItsText) {
  const FailingCall failing(PosixCall::condTimedwait, EPERM);

  expectVelException([this] { (void)timedWait(); }, EPERM, texts::conditionNotAwaited,
                     "Operation not permitted (1)");
}

TEST_F(ConditionFailure, TimedWaitWithoutAClockThrowsAndDoesNotWait) {
  const unsigned int before = callsOf(PosixCall::condTimedwait);
  const FailingCall failing(PosixCall::clockGettime, EINVAL);

  expectVelException([this] { (void)timedWait(); }, EINVAL, texts::conditionNotAwaited,
                     "Invalid argument (22)");
  EXPECT_EQ(callsOf(PosixCall::condTimedwait), before);
}

TEST_F(ConditionFailure, GetTimeoutReturnsTheClocksErrorNumber) {
  const FailingCall failing(PosixCall::clockGettime, EFAULT);
  timespec deadline;

  EXPECT_EQ(sut.getTimeout(deadline, 1), EFAULT);
}

TEST_F(ConditionFailure, FailedSignalThrowsItsText) {
  const FailingCall failing(PosixCall::condSignal, EINVAL);

  expectVelException([this] { sut.signal(); }, EINVAL, texts::conditionNotSignalled,
                     "Invalid argument (22)");
}

TEST_F(ConditionFailure, FailedWaitsLeaveNoWaiterCounted) {
  const FailingCall failingWait(PosixCall::condWait, EINVAL);
  const FailingCall failingTimedWait(PosixCall::condTimedwait, EINVAL);
  EXPECT_THROW(untimedWait(), VelException);
  EXPECT_THROW((void)timedWait(), VelException);

  sut.signal();

  EXPECT_EQ(timedWait(), 0);
}

TEST(Condition, DestructorThrowsWhenTheSystemRefuses) {
  expectVelException(
      [] {
        const FailingCall failing(PosixCall::condDestroy, EBUSY);
        Condition sut;
      },
      EBUSY, texts::conditionNotDestroyed, "Device or resource busy (16)");
}

TEST(Condition, RefusesAClockThatCannotBeWaitedOn) {
  expectVelException([] { Condition sut(CLOCK_THREAD_CPUTIME_ID); }, EINVAL,
                     texts::conditionNotCreated, "Invalid argument (22)");
}

TEST(Condition, ConstructorThrowsWhateverStepTheSystemRefuses) {
  for (const PosixCall call :
       {PosixCall::condattrInit, PosixCall::condattrSetclock, PosixCall::condInit}) {
    const FailingCall failing(call, ENOMEM);

    expectVelException([] { Condition sut; }, ENOMEM, texts::conditionNotCreated,
                       "Cannot allocate memory (12)");
  }
}
