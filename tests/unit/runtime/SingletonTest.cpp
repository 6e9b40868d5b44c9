// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One instance per process, whoever asks first and from wherever.
#include "velp/runtime/Singleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include "singleton/OfferedSingleton.h"
#include "velp/runtime/LogUtil.h"

namespace {

// Takes its time to be made, so that others come meanwhile.
class SlowSingleton : public Singleton<SlowSingleton> {
 public:
  SlowSingleton() {
    ++made;
    while (callers.load() < wantedCallers) std::this_thread::yield();
  }
  static constexpr int wantedCallers = 8;
  static std::atomic<int> made;
  static std::atomic<int> callers;
};
std::atomic<int> SlowSingleton::made{0};
std::atomic<int> SlowSingleton::callers{0};

class FailingSingleton : public Singleton<FailingSingleton> {
 public:
  FailingSingleton() {
    if (++attempts == 1) throw std::runtime_error("not yet");
  }
  static int attempts;
};
int FailingSingleton::attempts = 0;

class LockingSingleton : public Singleton<LockingSingleton> {
 public:
  bool lockIsItsOwn() {
    MutexLocker locker(mutex);
    return getInstance() == this;
  }
};

class ReportingSingleton : public Singleton<ReportingSingleton> {
 public:
  ~ReportingSingleton() override {
    LogUtil::info("ReportingSingleton", "~ReportingSingleton");
    std::fputs(getInstance() == this ? "deleted once\n" : "no instance while deleted\n", stderr);
  }
};

[[noreturn]] void exitAfterUse() {
  ReportingSingleton::getInstance();
  std::exit(0);
}

class ReturningSingleton : public Singleton<ReturningSingleton> {
 public:
  ReturningSingleton() { std::fputs("made\n", stderr); }
  ~ReturningSingleton() override { std::fputs("deleted\n", stderr); }
};

// What is registered first at exit runs last: here, when the instance is gone.
[[noreturn]] void exitWithALateUser() {
  std::atexit([] { ReturningSingleton::getInstance(); });
  ReturningSingleton::getInstance();
  std::exit(0);
}

}  // namespace

TEST(Singleton, IsMadeOnceWhenManyAskAtTheSameTime) {
  std::vector<std::thread> threads;
  std::vector<SlowSingleton*> seen(SlowSingleton::wantedCallers, nullptr);
  for (SlowSingleton*& instance : seen) {
    threads.emplace_back([&instance] {
      ++SlowSingleton::callers;
      instance = SlowSingleton::getInstance();
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(SlowSingleton::made, 1);
  for (const SlowSingleton* instance : seen) EXPECT_EQ(instance, SlowSingleton::getInstance());
  EXPECT_NE(SlowSingleton::getInstance(), nullptr);
}

TEST(Singleton, ConstructorThatThrowsIsTriedAgain) {
  EXPECT_THROW(FailingSingleton::getInstance(), std::runtime_error);

  EXPECT_NE(FailingSingleton::getInstance(), nullptr);
  EXPECT_EQ(FailingSingleton::attempts, 2);
}

TEST(Singleton, OwnLockIsNotTheOneThatGuardsItsMaking) {
  EXPECT_TRUE(LockingSingleton::getInstance()->lockIsItsOwn());
}

TEST(SingletonDeathTest, IsDeletedAtExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");

  EXPECT_EXIT(exitAfterUse(), testing::ExitedWithCode(0), "^deleted once\n$");
}

TEST(SingletonDeathTest, IsMadeAnewForWhoeverAsksAfterItsEnd) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");

  EXPECT_EXIT(exitWithALateUser(), testing::ExitedWithCode(0), "^made\ndeleted\nmade\n$");
}

TEST(Singleton, ExplicitInstantiationIsOneInstanceForAllLibraries) {
  OfferedSingleton* seenHere = OfferedSingleton::getInstance();

  EXPECT_EQ(seenHere, instanceSeenByUser());
  EXPECT_EQ(OfferedSingleton::made(), 1);
}
