// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Counts events and waits for a number of them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace velp::test {

/// Threads arrive, others wait until enough have; a watchdog of 20 s ends the wait.
class Latch {
 public:
  void arrive() {
    std::lock_guard<std::mutex> locker(mutex);
    ++arrived;
    changed.notify_all();
  }

  /// Waits until there were `wanted` arrivals. False when the watchdog ended the wait.
  [[nodiscard]] bool waitFor(unsigned int wanted = 1) const {
    const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(20);
    std::unique_lock<std::mutex> locker(mutex);
    return changed.wait_until(locker, deadline, [this, wanted] { return arrived >= wanted; });
  }

  unsigned int count() const {
    std::lock_guard<std::mutex> locker(mutex);
    return arrived;
  }

 private:
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  unsigned int arrived = 0;
};

}  // namespace velp::test
