// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Cancelling and destroying timers, also while their callback runs, and in a forked child.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <optional>
#include <utility>

#include "tests/support/Latch.h"
#include "velp/runtime/VelTimer.h"

using velp::test::Latch;

namespace {

using Interval = unsigned long long;
using std::chrono::milliseconds;

VelTimer::Callback arriving(Latch& latch) {
  return [&latch](unsigned long long, unsigned short, Interval&) {
    latch.arrive();
    return VelTimer::TIMER_CONTINUE;
  };
}

void awaitTicks(unsigned int ticks) {
  Latch latch;
  VelTimer timer;
  ASSERT_NE(timer.registerTimer(arriving(latch), 1, 0, true), 0);
  ASSERT_TRUE(latch.waitFor(ticks));
}

// A callback that stays inside until it is released.
struct BlockedCallback {
  VelTimer::Callback callback() {
    return [this](unsigned long long, unsigned short, Interval&) {
      entered.arrive();
      EXPECT_TRUE(released.waitFor());
      left = true;
      return VelTimer::TIMER_CONTINUE;
    };
  }
  Latch entered;
  Latch released;
  std::atomic<bool> left{false};
};

// A timer whose callback cancels it and gives its handle to a new timer of interval `newInterval`
// before it answers.
class Replacement {
 public:
  Replacement(VelTimer::timerResult_t answer, Interval newInterval)
      : answer(answer), newInterval(newInterval) {
    // The callback is told its handle as its id: handles are given in turn.
    const unsigned short probe = timer.registerTimer(arriving(ticks), ~0ULL, 0, true);
    const auto next = static_cast<unsigned short>(probe == 65535 ? 1 : probe + 1);
    EXPECT_EQ(timer.registerTimer([this](unsigned long long, unsigned short handle,
                                         Interval&) { return replace(handle); },
                                  1, next, true),
              next);
  }

  Latch replaced;
  Latch ticks;

 private:
  VelTimer::timerResult_t replace(unsigned short handle) {
    timer.cancelTimer(handle);
    unsigned short given = 0;
    while (given != handle) {
      timer.cancelTimer(given);
      given = timer.registerTimer(arriving(ticks), newInterval, 0, true);
    }
    replaced.arrive();
    return answer;
  }

  const VelTimer::timerResult_t answer;
  const Interval newInterval;
  VelTimer timer;
};

// Something a callback owns; its end takes until it is released.
struct SlowToDie {
  explicit SlowToDie(BlockedCallback& end) : end(end) {}
  ~SlowToDie() {
    end.entered.arrive();
    EXPECT_TRUE(end.released.waitFor());
    end.left = true;
  }
  SlowToDie(const SlowToDie&) = delete;
  SlowToDie& operator=(const SlowToDie&) = delete;
  BlockedCallback& end;
};

// Runs in a forked child: whether `action` succeeds there within the watchdog's time.
template <typename Action>
bool succeedsInChild(Action action) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    _exit(action() ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Arrives when it dies.
struct ArrivesAtItsEnd {
  explicit ArrivesAtItsEnd(Latch& latch) : latch(latch) {}
  ~ArrivesAtItsEnd() { latch.arrive(); }
  ArrivesAtItsEnd(const ArrivesAtItsEnd&) = delete;
  ArrivesAtItsEnd& operator=(const ArrivesAtItsEnd&) = delete;
  Latch& latch;
};

// Exits when the timer thread, which a callback has ended, is gone; says whether its stack was
// unwound.
[[noreturn]] void exitAfterThreadEndedInCallback() {
  Latch unwound;
  Latch gone;
  VelTimer timer;
  const auto ending = [&](unsigned long long, unsigned short,
                          Interval&) -> VelTimer::timerResult_t {
    static thread_local const ArrivesAtItsEnd ofThread(gone);
    const ArrivesAtItsEnd ofStack(unwound);
    pthread_exit(nullptr);
  };
  const bool registered = timer.registerTimer(ending, 1, 0, false) != 0 && gone.waitFor();
  if (unwound.count() == 1) std::fputs("unwound\n", stderr);
  _exit(registered ? 0 : 1);
}

}  // namespace

// Threads in a child of a process with threads are refused by the thread sanitizer unless asked
// for.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "die_after_fork=0";
}

TEST(CancelTimer, NoTickStartsAfterTheReturn) {
  Latch ticks;
  VelTimer timer;
  const unsigned short handle = timer.registerTimer(arriving(ticks), 1, 0, true);
  ASSERT_TRUE(ticks.waitFor(3));

  timer.cancelTimer(handle);
  awaitTicks(1);  // One that was running has ended by then.
  const unsigned int counted = ticks.count();
  awaitTicks(10);

  EXPECT_EQ(ticks.count(), counted);
}

TEST(CancelTimer, HandleZeroUnknownAndForeignHandlesAreHarmless) {
  Latch ticks;
  VelTimer timer;
  VelTimer stranger;
  const unsigned short handle = timer.registerTimer(arriving(ticks), 1, 0, true);

  timer.cancelTimer(0);
  timer.cancelTimer(static_cast<unsigned short>(handle + 1));
  stranger.cancelTimer(handle);
  const unsigned int counted = ticks.count();

  EXPECT_TRUE(ticks.waitFor(counted + 3));
}

TEST(CancelTimer, TwiceIsHarmless) {
  Latch ticks;
  VelTimer timer;
  const unsigned short handle = timer.registerTimer(arriving(ticks), 1, 0, true);

  timer.cancelTimer(handle);
  timer.cancelTimer(handle);

  EXPECT_NE(timer.registerTimer(arriving(ticks), 1, 0, true), 0);
}

TEST(CancelTimer, CallbackThatOwnsAVelTimerDiesWithoutTheServicesLock) {
  VelTimer timer;
  const unsigned short handle = timer.registerTimer(
      [owned = std::make_shared<VelTimer>()](unsigned long long, unsigned short, Interval&) {
        return VelTimer::TIMER_CONTINUE;
      },
      ~0ULL, 0, true);

  timer.cancelTimer(handle);

  awaitTicks(1);
}

TEST(CancelTimer, DoesNotWaitForARunningCallback) {
  BlockedCallback blocked;
  VelTimer timer;
  const unsigned short handle = timer.registerTimer(blocked.callback(), 1, 0, true);
  ASSERT_TRUE(blocked.entered.waitFor());

  timer.cancelTimer(handle);
  EXPECT_FALSE(blocked.left);
  blocked.released.arrive();
  awaitTicks(10);

  EXPECT_EQ(blocked.entered.count(), 1U);
}

TEST(CancelTimer, WorksFromInsideTheCallback) {
  Latch ticks;
  Latch registered;
  unsigned short handle = 0;
  VelTimer timer;

  handle = timer.registerTimer(
      [&](unsigned long long, unsigned short, Interval&) {
        EXPECT_TRUE(registered.waitFor());
        timer.cancelTimer(handle);
        ticks.arrive();
        return VelTimer::TIMER_CONTINUE;
      },
      1, 0, true);
  registered.arrive();
  ASSERT_TRUE(ticks.waitFor());
  awaitTicks(10);

  EXPECT_EQ(ticks.count(), 1U);
}

TEST(CancelTimer, HandleGivenAwayDuringTheCallbackIsNotEndedWithIt) {
  Replacement replacement(VelTimer::TIMER_STOP, 1);

  EXPECT_TRUE(replacement.ticks.waitFor(10));
  EXPECT_EQ(replacement.replaced.count(), 1U);
}

TEST(CancelTimer, HandleGivenAwayDuringTheCallbackDoesNotTickForIt) {
  Replacement replacement(VelTimer::TIMER_CONTINUE, ~0ULL);
  ASSERT_TRUE(replacement.replaced.waitFor());
  awaitTicks(10);

  EXPECT_EQ(replacement.ticks.count(), 0U);
  EXPECT_EQ(replacement.replaced.count(), 1U);
}

TEST(RegisterTimer, WorksFromInsideACallback) {
  Latch inner;
  VelTimer timer;

  ASSERT_NE(timer.registerTimer(
                [&](unsigned long long, unsigned short, Interval&) {
                  EXPECT_NE(timer.registerTimer(arriving(inner), 1, 0, false), 0);
                  return VelTimer::TIMER_STOP;
                },
                1, 0, true),
            0);

  EXPECT_TRUE(inner.waitFor());
}

TEST(BlockedTimer, DelaysOthersOnlyWhileItRuns) {
  BlockedCallback blocked;
  Latch ticks;
  VelTimer timer;
  ASSERT_NE(timer.registerTimer(blocked.callback(), 1, 0, false), 0);
  ASSERT_TRUE(blocked.entered.waitFor());

  ASSERT_NE(timer.registerTimer(arriving(ticks), 1, 0, true), 0);
  EXPECT_EQ(ticks.count(), 0U);
  blocked.released.arrive();

  EXPECT_TRUE(ticks.waitFor(3));
}

TEST(VelTimerEnd, CancelsAllItsTimers) {
  Latch ticks;
  {
    VelTimer timer;
    for (int i = 0; i < 5; ++i) ASSERT_NE(timer.registerTimer(arriving(ticks), 1, 0, true), 0);
    ASSERT_TRUE(ticks.waitFor(10));
  }
  const unsigned int counted = ticks.count();
  awaitTicks(10);

  EXPECT_EQ(ticks.count(), counted);
}

TEST(VelTimerEnd, LeavesTheTimersOfOthersAlone) {
  Latch ticks;
  VelTimer other;
  ASSERT_NE(other.registerTimer(arriving(ticks), 1, 0, true), 0);

  { VelTimer timer; }
  const unsigned int counted = ticks.count();

  EXPECT_TRUE(ticks.waitFor(counted + 3));
}

TEST(VelTimerEnd, WaitsForARunningCallbackOfItsOwn) {
  BlockedCallback blocked;
  auto timer = std::make_unique<VelTimer>();
  ASSERT_NE(timer->registerTimer(blocked.callback(), 1, 0, true), 0);
  ASSERT_TRUE(blocked.entered.waitFor());

  auto end = std::async(std::launch::async, [&] {
    timer.reset();
    return blocked.left.load();
  });
  EXPECT_EQ(end.wait_for(milliseconds(20)), std::future_status::timeout);
  blocked.released.arrive();

  EXPECT_TRUE(end.get());
}

TEST(VelTimerEnd, WaitsForACancelledCallbackThatStillRuns) {
  BlockedCallback blocked;
  auto timer = std::make_unique<VelTimer>();
  const unsigned short handle = timer->registerTimer(blocked.callback(), 1, 0, true);
  ASSERT_TRUE(blocked.entered.waitFor());
  timer->cancelTimer(handle);

  auto end = std::async(std::launch::async, [&] {
    timer.reset();
    return blocked.left.load();
  });
  EXPECT_EQ(end.wait_for(milliseconds(20)), std::future_status::timeout);
  blocked.released.arrive();

  EXPECT_TRUE(end.get());
}

TEST(VelTimerEnd, DoesNotWaitForTheCallbackOfAnother) {
  BlockedCallback blocked;
  VelTimer other;
  ASSERT_NE(other.registerTimer(blocked.callback(), 1, 0, false), 0);
  ASSERT_TRUE(blocked.entered.waitFor());

  { VelTimer timer; }

  EXPECT_FALSE(blocked.left);
  blocked.released.arrive();
}

TEST(VelTimerEnd, MayComeFromInsideItsOwnCallback) {
  Latch ticks;
  const auto state = std::make_shared<int>(5);
  auto timer = std::make_unique<VelTimer>();

  ASSERT_NE(timer->registerTimer(
                [&timer, &ticks, state](unsigned long long, unsigned short, Interval&) {
                  timer.reset();
                  EXPECT_EQ(*state, 5);  // The callback itself is still there.
                  ticks.arrive();
                  return VelTimer::TIMER_CONTINUE;
                },
                20, 0, true),
            0);
  ASSERT_TRUE(ticks.waitFor());
  awaitTicks(10);

  EXPECT_EQ(ticks.count(), 1U);
  EXPECT_EQ(state.use_count(), 1);
}

TEST(VelTimerEnd, DestroysTheCallbacksToo) {
  auto state = std::make_shared<int>(5);
  const std::weak_ptr<int> watch = state;
  Latch ticks;
  {
    VelTimer timer;
    ASSERT_NE(timer.registerTimer(
                  [&ticks, kept = std::move(state)](unsigned long long, unsigned short, Interval&) {
                    ticks.arrive();
                    return VelTimer::TIMER_CONTINUE;
                  },
                  1, 0, true),
              0);
    ASSERT_TRUE(ticks.waitFor(3));
  }

  EXPECT_TRUE(watch.expired());
}

TEST(VelTimerEnd, WaitsForACallbackThatIsBeingDestroyed) {
  BlockedCallback end;
  auto owned = std::make_shared<SlowToDie>(end);
  auto timer = std::make_unique<VelTimer>();
  ASSERT_NE(
      timer->registerTimer([kept = std::move(owned)](unsigned long long, unsigned short,
                                                     Interval&) { return VelTimer::TIMER_STOP; },
                           1, 0, true),
      0);
  ASSERT_TRUE(end.entered.waitFor());

  auto destroyed = std::async(std::launch::async, [&] {
    timer.reset();
    return end.left.load();
  });
  EXPECT_EQ(destroyed.wait_for(milliseconds(20)), std::future_status::timeout);
  end.released.arrive();

  EXPECT_TRUE(destroyed.get());
}

TEST(VelTimerEnd, CallbackThatOwnsAVelTimerMayDieWithItsTimer) {
  Latch ticks;
  {
    VelTimer timer;
    const auto owned = std::make_shared<VelTimer>();
    ASSERT_NE(owned->registerTimer(arriving(ticks), 1, 0, true), 0);
    for (const bool periodic : {true, false}) {
      ASSERT_NE(timer.registerTimer([owned](unsigned long long, unsigned short,
                                            Interval&) { return VelTimer::TIMER_CONTINUE; },
                                    1, 0, periodic),
                0);
    }
    ASSERT_TRUE(ticks.waitFor(3));
  }
  const unsigned int counted = ticks.count();
  awaitTicks(10);

  EXPECT_EQ(ticks.count(), counted);
}

TEST(VelTimerDeathTest, CallbackThatEndsItsThreadDoesNotEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");

  EXPECT_EXIT(exitAfterThreadEndedInCallback(), testing::ExitedWithCode(0), "^unwound\n$");
}

TEST(VelTimerAfterFork, ChildsTimersWorkAnew) {
  Latch parents;
  VelTimer timer;
  ASSERT_NE(timer.registerTimer(arriving(parents), 1, 0, true), 0);
  ASSERT_TRUE(parents.waitFor(3));

  EXPECT_TRUE(succeedsInChild([&timer] {
    // The ticks go on until the child is gone.
    static Latch ticks;
    return timer.registerTimer(arriving(ticks), 1, 0, true) != 0 && ticks.waitFor(3);
  }));
  const unsigned int counted = parents.count();
  EXPECT_TRUE(parents.waitFor(counted + 3));
}

TEST(VelTimerAfterFork, ChildDoesNotWaitForTheParentsRunningCallback) {
  BlockedCallback blocked;
  std::optional<VelTimer> timer(std::in_place);
  const unsigned short handle = timer->registerTimer(blocked.callback(), 1, 0, true);
  ASSERT_TRUE(blocked.entered.waitFor());

  EXPECT_TRUE(succeedsInChild([&timer, handle] {
    timer->cancelTimer(handle);
    timer.reset();
    return true;
  }));
  blocked.released.arrive();
}
