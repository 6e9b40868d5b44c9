// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Mutex and MutexLocker.
#include "velp/runtime/Mutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

#include "velp/runtime/MutexLocker.h"

namespace {

bool isFree(Mutex& mutex) {
  bool result = false;
  std::thread([&mutex, &result] {
    if (mutex.tryLock()) {
      result = true;
      mutex.unlock();
    }
  }).join();
  return result;
}

// Counts without atomics: right only if the mutex excludes.
struct Counter {
  void add(int times) {
    for (int i = 0; i < times; ++i) {
      MutexLocker locker(mutex);
      ++value;
    }
  }
  Mutex mutex;
  int value VELP_GUARDED_BY(mutex) = 0;
};

}  // namespace

TEST(Mutex, IsFreeWhenMadeAndAfterUnlock) {
  Mutex sut;
  EXPECT_TRUE(isFree(sut));

  sut.lock();
  EXPECT_FALSE(isFree(sut));

  sut.unlock();
  EXPECT_TRUE(isFree(sut));
}

TEST(Mutex, TryLockTakesAFreeLock) {
  Mutex sut;

  if (!sut.tryLock()) {
    FAIL() << "a free lock was refused";
  } else {
    EXPECT_FALSE(isFree(sut));
    sut.unlock();
  }
}

TEST(Mutex, ExcludesOtherThreads) {
  Counter counter;
  std::vector<std::thread> threads;

  for (int i = 0; i < 4; ++i) threads.emplace_back([&counter] { counter.add(5000); });
  for (std::thread& thread : threads) thread.join();

  MutexLocker locker(counter.mutex);
  EXPECT_EQ(counter.value, 20000);
}

TEST(Mutex, IsPolymorphicAndNeverCopied) {
  EXPECT_TRUE(std::has_virtual_destructor_v<Mutex>);
  EXPECT_FALSE(std::is_copy_constructible_v<Mutex>);
  EXPECT_FALSE(std::is_copy_assignable_v<Mutex>);
}

TEST(MutexLocker, HoldsTheMutexForItsScope) {
  Mutex mutex;
  {
    MutexLocker sut(mutex);
    EXPECT_FALSE(isFree(mutex));
  }

  EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, UnlocksWhenAnExceptionLeavesTheScope) {
  Mutex mutex;

  try {
    MutexLocker sut(mutex);
    throw 1;
  } catch (int) {
  }

  EXPECT_TRUE(isFree(mutex));
}
