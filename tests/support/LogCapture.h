// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Captures the log lines that a test causes, from whichever thread they come.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>
#include <vector>

#include "velp/runtime/LogUtil.h"
#include "velp/runtime/MutexLocker.h"

namespace velp::test {

/// Takes everything written to std::cout from its construction to its destruction.
///
///     LogCapture capture;
///     sut.doSomething();
///     EXPECT_THAT(capture.lines(), Contains("[INFO] VelS::f() text"));
///
/// Captures may be nested; the innermost takes the lines. Other threads may log meanwhile.
class LogCapture {
 public:
  LogCapture() {
    MutexLocker locker(LogUtil::mutex);
    previous = std::cout.rdbuf(&buffer);
  }
  ~LogCapture() {
    MutexLocker locker(LogUtil::mutex);
    std::cout.rdbuf(previous);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Everything captured so far, line ends included.
  std::string text() const { return buffer.text(); }

  /// The complete lines so far, without their line ends.
  std::vector<std::string> lines() const { return split(buffer.text()); }

  /// How many of the complete lines equal `line`.
  std::size_t count(const std::string& line) const {
    const std::vector<std::string> all = lines();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
  }

  /// How many of the complete lines contain `part`.
  std::size_t countContaining(const std::string& part) const {
    const std::vector<std::string> all = lines();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(),
        [&part](const std::string& line) { return line.find(part) != std::string::npos; }));
  }

  /// Waits until `times` lines equal `line`. False, and a test failure that shows what was
  /// captured, when the watchdog ends the wait.
  bool waitForLine(const std::string& line, std::size_t times = 1) const {
    return waitUntil("line \"" + line + "\"",
                     [this, &line, times] { return count(line) >= times; });
  }

  /// Waits until `times` lines contain `part`; fails as waitForLine() does.
  bool waitForLineContaining(const std::string& part, std::size_t times = 1) const {
    return waitUntil("line containing \"" + part + "\"",
                     [this, &part, times] { return countContaining(part) >= times; });
  }

  /// Forgets what was captured so far.
  void clear() { buffer.clear(); }

 private:
  // Unbuffered, so that a reader sees each piece as soon as it is written.
  class Buffer : public std::streambuf {
   public:
    std::string text() const {
      std::lock_guard<std::mutex> locker(mutex);
      return written;
    }
    void clear() {
      std::lock_guard<std::mutex> locker(mutex);
      written.clear();
    }
    // `wanted` is tested without the lock, and again after each further write.
    bool waitUntil(const std::function<bool()>& wanted) const {
      const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(20);
      while (true) {
        const std::size_t seen = writeCount();
        if (wanted()) return true;
        std::unique_lock<std::mutex> locker(mutex);
        if (!changed.wait_until(locker, deadline, [this, seen] { return writes != seen; })) {
          return false;
        }
      }
    }

   protected:
    int_type overflow(int_type character) override {
      if (traits_type::eq_int_type(character, traits_type::eof())) return 0;
      const char one = traits_type::to_char_type(character);
      append(&one, 1);
      return character;
    }
    std::streamsize xsputn(const char* text, std::streamsize size) override {
      append(text, static_cast<std::size_t>(size));
      return size;
    }

   private:
    void append(const char* text, std::size_t size) {
      std::lock_guard<std::mutex> locker(mutex);
      written.append(text, size);
      ++writes;
      changed.notify_all();
    }
    std::size_t writeCount() const {
      std::lock_guard<std::mutex> locker(mutex);
      return writes;
    }

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::string written;
    std::size_t writes = 0;
  };

  static std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> result;
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos;
         end = text.find('\n', begin)) {
      result.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
    return result;
  }

  bool waitUntil(const std::string& what, const std::function<bool()>& wanted) const {
    if (buffer.waitUntil(wanted)) return true;
    ADD_FAILURE() << "no " << what << " in 20 s; captured:\n" << text();
    return false;
  }

  Buffer buffer;
  std::streambuf* previous;
};

}  // namespace velp::test
