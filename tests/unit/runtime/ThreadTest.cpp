// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How threads begin and end.
#include "velp/runtime/Thread.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include "velp/runtime/VelException.h"

namespace {

// Runs any function as a Thread.
class FunctionThread : public Thread {
 public:
  explicit FunctionThread(std::function<void()> body, const char* name = "test-thread")
      : body(std::move(body)), name(name) {}

  // Starts the thread, joins it, and returns what it ended with.
  void* run() {
    EXPECT_EQ(handle, noThread());
    EXPECT_EQ(pthread_create(&handle, nullptr, Thread::startWrapper, static_cast<Thread*>(this)),
              0);
    void* result = this;
    EXPECT_EQ(pthread_join(handle, &result), 0);
    return result;
  }

 protected:
  void threadCode() override { body(); }
  const char* getThreadName() const override { return name; }

 private:
  const std::function<void()> body;
  const char* const name;
};

class UnnamedThread : public Thread {
 public:
  using Thread::noThread;
  const char* defaultName() const { return getThreadName(); }

 protected:
  void threadCode() override {}
};

std::string currentThreadName() {
  std::array<char, 16> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return name.data();
}

std::string nameInside(const char* name) {
  std::string seen;
  FunctionThread([&seen] { seen = currentThreadName(); }, name).run();
  return seen;
}

// The body of a death test: log lines go where the test looks.
void runWithLogOnStandardError(const std::function<void()>& body) {
  dup2(STDERR_FILENO, STDOUT_FILENO);
  FunctionThread(body).run();
}

struct ThreadDeathTest : testing::Test {
  ThreadDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

}  // namespace

TEST(Thread, RunsThreadCodeInAnotherThread) {
  pthread_t seen = pthread_self();

  void* result = FunctionThread([&seen] { seen = pthread_self(); }).run();

  EXPECT_FALSE(pthread_equal(seen, pthread_self()));
  EXPECT_EQ(result, nullptr);
}

TEST(Thread, BlocksAllSignals) {
  sigset_t blocked;
  sigemptyset(&blocked);

  FunctionThread([&blocked] { pthread_sigmask(SIG_SETMASK, nullptr, &blocked); }).run();

  for (int number = 1; number <= SIGRTMAX; ++number) {
    const bool blockable =
        number != SIGKILL && number != SIGSTOP && (number < 32 || number >= SIGRTMIN);
    EXPECT_EQ(sigismember(&blocked, number) == 1, blockable) << "signal " << number;
  }
}

TEST(Thread, LeavesTheStartersSignalsAlone) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);

  FunctionThread([] {}).run();

  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&before, SIGTERM), sigismember(&after, SIGTERM));
  EXPECT_EQ(sigismember(&after, SIGTERM), 0);
}

TEST(Thread, IsNamedAsTheDerivedClassSays) {
  EXPECT_EQ(nameInside("velp-test"), "velp-test");
}

TEST(Thread, NameIsCutAfter15Characters) {
  EXPECT_EQ(nameInside("0123456789abcdefgh"), "0123456789abcde");
}

TEST(Thread, DefaultNameIsVelp) {
  EXPECT_STREQ(UnnamedThread().defaultName(), "velp");
}

TEST(Thread, NoThreadHasAllBitsSet) {
  EXPECT_EQ(UnnamedThread::noThread(), static_cast<pthread_t>(-1));
}

TEST(Thread, PthreadExitEndsOnlyTheThread) {
  int value = 0;

  void* result = FunctionThread([&value] { pthread_exit(&value); }).run();

  EXPECT_EQ(result, &value);
}

TEST(Thread, PthreadExitUnwindsTheStack) {
  struct Guard {
    explicit Guard(bool& left) : left(left) {}
    ~Guard() { left = true; }
    bool& left;
  };
  bool left = false;

  FunctionThread([&left] {
    const Guard guard(left);
    pthread_exit(nullptr);
  }).run();

  EXPECT_TRUE(left);
}

TEST_F(ThreadDeathTest, ExceptionEndsTheProcessAfterALineWithItsText) {
  EXPECT_EXIT(
      runWithLogOnStandardError([] { throw std::runtime_error("no\nluck"); }),
      testing::KilledBySignal(SIGABRT),
      "\\[ERROR\\] Thread::startWrapper\\(\\) exception left thread test-thread: no.x0aluck\n");
}

TEST_F(ThreadDeathTest, VelExceptionEndsTheProcessWithItsWholeText) {
  EXPECT_EXIT(runWithLogOnStandardError([] { throw VelException(EINVAL, "refused"); }),
              testing::KilledBySignal(SIGABRT),
              "test-thread: refused: Invalid argument \\(22\\)\n");
}

TEST_F(ThreadDeathTest, ExceptionOfAnyTypeEndsTheProcess) {
  EXPECT_EXIT(
      runWithLogOnStandardError([] { throw 5; }), testing::KilledBySignal(SIGABRT),
      "\\[ERROR\\] Thread::startWrapper\\(\\) exception left thread test-thread: not a std::exc");
}
