// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Waits a moment without going to sleep, as long as that pays.
#pragma once

#include <sched.h>

namespace velp {

/// Yields the processor for a moment before a wait, in case what is awaited comes by then. Measures
/// whether that pays, and leaves it alone where it does not.
///
/// For the framework's own waits, not exported.
/// Threads: one at a time. Blocks: yieldUntil(), for about `longest` at most unless other threads
/// want the processor. Owns: nothing. Fails: never.
class BriefWait {
 public:
  /// Nanoseconds. Longer than an answer by another process takes, if it comes without a delay.
  static constexpr long long longest = 50000;

  /// Whether this wait is to be tried: false for some when trying has not paid lately. To be asked
  /// once for each wait.
  bool begin();

  /// After begin() was true: calls `arrived` after each yield until it is true or the moment is
  /// over, and says which.
  template <typename Arrived>
  bool yieldUntil(const Arrived& arrived) {
    for (;;) {
      sched_yield();
      const bool there = arrived();
      if (isOverAfterYield(there)) return there;
    }
  }

 private:
  bool isOverAfterYield(bool there);

  long long began = 0;
  long long lastYield = 0;
  unsigned int skips = 0;
  unsigned int skipsAfterVain = 1;
  unsigned int skipsAfterCrowd = 0;
};

}  // namespace velp
