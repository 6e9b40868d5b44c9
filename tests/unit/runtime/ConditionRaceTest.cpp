// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The gap between testing a flag and waiting: no wake-up is lost in it.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "velp/runtime/Condition.h"
#include "velp/runtime/MutexLocker.h"

namespace {

// Condition without its cure: the POSIX calls alone.
class PlainCondition {
 public:
  explicit PlainCondition(int /*clock*/) {}
  ~PlainCondition() { pthread_cond_destroy(&condition); }
  PlainCondition(const PlainCondition&) = delete;
  PlainCondition& operator=(const PlainCondition&) = delete;

  void signal() { pthread_cond_signal(&condition); }
  int wait(pthread_mutex_t& mutex, unsigned long long relative) {
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += static_cast<time_t>(relative / 1000000);
    return pthread_cond_timedwait(&condition, &mutex, &deadline);
  }

 private:
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
};

// Locks and waits for either kind of condition.
struct CuredKind {
  void signal() {
    MutexLocker locker(mutex);
    condition.signal();
  }
  int wait(unsigned long long relative) {
    MutexLocker locker(mutex);
    return condition.wait(mutex, relative);
  }
  Mutex mutex;
  Condition condition{1};
};

struct PlainKind {
  void signal() {
    pthread_mutex_lock(&mutex);
    condition.signal();
    pthread_mutex_unlock(&mutex);
  }
  int wait(unsigned long long relative) {
    pthread_mutex_lock(&mutex);
    const int rc = condition.wait(mutex, relative);
    pthread_mutex_unlock(&mutex);
    return rc;
  }
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  PlainCondition condition{1};
};

// A waiter that tests `finished` under a mutex of its own before it takes the condition's, and a
// signaller that sets it: the order in which the synchronous request does it.
template <typename Kind>
class GappedWait {
 public:
  // Waits until finish() was called. False when a wake-up was lost: the time ran out. `inGap` runs
  // between each test and its wait.
  bool waitForFinish(unsigned long long timeout, const std::function<void()>& inGap) {
    while (!isFinished()) {
      inGap();
      if (kind.wait(timeout) == ETIMEDOUT) return false;
    }
    return true;
  }
  void finish() {
    setFinished(true);
    kind.signal();
  }
  void setFinished(bool value) {
    MutexLocker locker(flagMutex);
    finished = value;
  }
  bool isFinished() {
    MutexLocker locker(flagMutex);
    return finished;
  }

 private:
  Kind kind;
  Mutex flagMutex;
  bool finished VELP_GUARDED_BY(flagMutex) = false;
};

void passNanoseconds(std::mt19937::result_type nanoseconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::nanoseconds(nanoseconds);
  while (std::chrono::steady_clock::now() < end) {
  }
}

// Answers round after round of a GappedWait, each a random moment after it began.
template <typename Kind>
class Answerer {
 public:
  Answerer(GappedWait<Kind>& wait, unsigned int rounds, unsigned int seed)
      : thread([this, &wait, rounds, seed] {
          std::mt19937 random(seed);
          for (unsigned int round = 1; round <= rounds; ++round) {
            while (begun.load() < round) std::this_thread::yield();
            passNanoseconds(random() % 2000);
            wait.finish();
            answered.store(round);
          }
        }) {}
  ~Answerer() { thread.join(); }
  Answerer(const Answerer&) = delete;
  Answerer& operator=(const Answerer&) = delete;

  void begin(unsigned int round) { begun.store(round); }
  void awaitAnswered(unsigned int round) const {
    while (answered.load() < round) std::this_thread::yield();
  }

 private:
  std::atomic<unsigned int> begun{0};
  std::atomic<unsigned int> answered{0};
  std::thread thread;
};

template <typename Kind>
bool finishesWhenSignalledInTheGap(unsigned long long timeout) {
  GappedWait<Kind> wait;
  return wait.waitForFinish(timeout, [&wait] { std::thread([&wait] { wait.finish(); }).join(); });
}

}  // namespace

TEST(ConditionRace, SignalBetweenTestAndWaitWakesTheWaiter) {
  EXPECT_TRUE(finishesWhenSignalledInTheGap<CuredKind>(20 * 1000000ULL));
}

TEST(ConditionRace, WithoutTheCureASignalBetweenTestAndWaitIsLost) {
  EXPECT_FALSE(finishesWhenSignalledInTheGap<PlainKind>(0));
  EXPECT_FALSE(finishesWhenSignalledInTheGap<PlainKind>(1000000));
}

TEST(ConditionRace, NoWakeUpIsLostIn100000RandomlyTimedAnswers) {
  constexpr unsigned int rounds = 100000;
  const unsigned int seed = std::random_device()();
  GappedWait<CuredKind> wait;
  Answerer<CuredKind> answerer(wait, rounds, seed);
  std::mt19937 random(seed + 1);

  unsigned int lost = 0;
  for (unsigned int round = 1; round <= rounds; ++round) {
    // Now and then the gap lasts until the answer is there: on a busy machine nothing else hits it.
    const auto passGap = [&] {
      if (random() % 64 == 0) {
        answerer.awaitAnswered(round);
      } else {
        passNanoseconds(random() % 2000);
      }
    };
    wait.setFinished(false);
    answerer.begin(round);
    if (!wait.waitForFinish(5 * 1000000ULL, passGap)) ++lost;
    answerer.awaitAnswered(round);
  }

  EXPECT_EQ(lost, 0U) << "seed " << seed;
}
