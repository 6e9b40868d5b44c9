// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Log lines: form, order, flush, and what a failing standard output does.
#include "velp/runtime/LogUtil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <functional>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/LogCapture.h"
#include "tests/support/fixedTexts.h"
#include "velp/runtime/MutexLocker.h"

using testing::ElementsAre;
using velp::test::LogCapture;

namespace {

bool logMutexIsHeld() {
  if (!LogUtil::mutex.tryLock()) return true;
  LogUtil::mutex.unlock();
  return false;
}

// Takes the place of std::cout's buffer for a scope.
class BufferSwap {
 public:
  explicit BufferSwap(std::streambuf& buffer) : previous(exchange(&buffer)) {}
  ~BufferSwap() { exchange(previous); }
  BufferSwap(const BufferSwap&) = delete;
  BufferSwap& operator=(const BufferSwap&) = delete;

 private:
  static std::streambuf* exchange(std::streambuf* buffer) {
    MutexLocker locker(LogUtil::mutex);
    return std::cout.rdbuf(buffer);
  }
  std::streambuf* const previous;
};

// Notes what is done to it and whether the log mutex was held.
class NotingBuffer : public std::streambuf {
 public:
  std::vector<std::string> events;

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    note("write " + std::string(text, static_cast<std::size_t>(size)));
    return size;
  }
  int sync() override {
    note("flush");
    return 0;
  }

 private:
  void note(const std::string& event) {
    events.push_back(event + (logMutexIsHeld() ? " locked" : " UNLOCKED"));
  }
};

// Refuses everything while it is full.
class FillableBuffer : public std::streambuf {
 public:
  bool full = true;
  std::string written;

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    if (full) return 0;
    written.append(text, static_cast<std::size_t>(size));
    return size;
  }
};

// Does something of its own when a line is written.
class ActingBuffer : public std::streambuf {
 public:
  explicit ActingBuffer(std::function<void()> action) : action(std::move(action)) {}

 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    action();
    return size;
  }

 private:
  const std::function<void()> action;
};

// Takes the log mutex before other constructors run, as a static object that logs would.
struct EarlyUser {
  EarlyUser() { worked = !logMutexIsHeld(); }
  bool worked;
};
__attribute__((init_priority(101))) EarlyUser earlyUser;

}  // namespace

TEST(LogUtil, WritesEachLevelWithItsTag) {
  LogCapture capture;

  LogUtil::debug("VelS", "f", "text");
  LogUtil::info("VelH", "g", "text");
  LogUtil::warning("PHR", "h", "text");
  LogUtil::error("VelS", "~VelpMsgSender", "text");

  EXPECT_THAT(capture.lines(),
              ElementsAre("[DEBUG] VelS::f() text", "[INFO] VelH::g() text",
                          "[WARNING] PHR::h() text", "[ERROR] VelS::~VelpMsgSender() text"));
}

TEST(LogUtil, EntryLineEndsBehindTheParentheses) {
  LogCapture capture;

  LogUtil::debug("VelS", "sendRequest");

  EXPECT_EQ(capture.text(), std::string(velp::test::texts::plainRequest) + "\n");
}

TEST(LogUtil, JoinsThePartsOfTheText) {
  LogCapture capture;

  LogUtil::info("VelS", "f", "done (", true, ") id=", 50, ' ', std::string("end"));

  EXPECT_EQ(capture.text(), "[INFO] VelS::f() done (1) id=50 end\n");
}

TEST(LogUtil, WritesTheWholeLineThenFlushesUnderTheMutex) {
  NotingBuffer buffer;
  {
    const BufferSwap swap(buffer);
    LogUtil::info("VelS", "f", "text");
  }

  EXPECT_THAT(buffer.events, ElementsAre("write [INFO] VelS::f() text\n locked", "flush locked"));
  EXPECT_FALSE(logMutexIsHeld());
}

TEST(LogUtil, LinesOfDifferentThreadsNeverInterleave) {
  LogCapture capture;
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([letter] {
      for (int i = 0; i < 500; ++i) LogUtil::info("VelS", "f", std::string(200, letter));
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(capture.lines().size(), 2000U);
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    EXPECT_EQ(capture.count("[INFO] VelS::f() " + std::string(200, letter)), 500U);
  }
}

TEST(LogUtil, IgnoresFormatsSetOnStandardOutput) {
  LogCapture capture;
  const auto flags = std::cout.flags();
  std::cout << std::hex << std::setfill('*') << std::setw(60);

  LogUtil::info("VelS", "f", 255);

  std::cout.flags(flags);
  std::cout << std::setw(0) << std::setfill(' ');
  EXPECT_EQ(capture.text(), "[INFO] VelS::f() 255\n");
}

TEST(LogUtil, LineThatIsRefusedDoesNotSilenceTheNext) {
  FillableBuffer buffer;
  const BufferSwap swap(buffer);
  LogUtil::info("VelS", "f", "lost");
  ASSERT_FALSE(std::cout.good());

  buffer.full = false;
  LogUtil::info("VelS", "f", "next");

  EXPECT_EQ(buffer.written, "[INFO] VelS::f() next\n");
}

// With a std::cout that throws.
void expectToLoseALineQuietly(std::streambuf& buffer) {
  const BufferSwap swap(buffer);
  const auto exceptions = std::cout.exceptions();
  std::cout.exceptions(std::ios_base::badbit);

  EXPECT_NO_THROW(LogUtil::info("VelS", "f", "lost"));

  EXPECT_FALSE(logMutexIsHeld());
  std::cout.clear();
  std::cout.exceptions(exceptions);
}

TEST(LogUtil, NeverThrowsEvenIfStandardOutputDoes) {
  FillableBuffer buffer;
  expectToLoseALineQuietly(buffer);
}

TEST(LogUtil, NeverThrowsWhateverTheServicesBufferThrows) {
  ActingBuffer buffer([] { throw std::runtime_error("no"); });
  expectToLoseALineQuietly(buffer);
}

TEST(LogUtil, LetsAThreadEndInTheMidstOfALine) {
  ActingBuffer buffer([] { pthread_exit(nullptr); });
  {
    const BufferSwap swap(buffer);
    std::thread([] { LogUtil::info("VelS", "f", "lost"); }).join();
  }

  EXPECT_FALSE(logMutexIsHeld());
  std::cout.clear();
}

TEST(LogUtil, MutexWorksBeforeAnyConstructorHasRun) {
  EXPECT_TRUE(earlyUser.worked);
}

TEST(Escaped, LeavesPrintableAsciiAlone) {
  EXPECT_EQ(velp::escaped("az AZ 09 ~!\"'"), "az AZ 09 ~!\"'");
  EXPECT_EQ(velp::escaped(""), "");
}

TEST(Escaped, WritesLineEndsAndOtherControlCharactersInHex) {
  EXPECT_EQ(velp::escaped("a\nb"), "a\\x0ab");
  EXPECT_EQ(velp::escaped("\r\t\x1b\x7f\x1f"), "\\x0d\\x09\\x1b\\x7f\\x1f");
}

TEST(Escaped, WritesBackslashesInHexSoThatNothingIsAmbiguous) {
  EXPECT_EQ(velp::escaped("\\x0a"), "\\x5cx0a");
}

TEST(Escaped, WritesNulAndHighBytesInHex) {
  EXPECT_EQ(velp::escaped(std::string("\0\x80\xff", 3)), "\\x00\\x80\\xff");
}
