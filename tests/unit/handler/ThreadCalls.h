// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Counts how threads are joined and ended, and lets joins report a failure.
#pragma once

#include <atomic>

namespace velp::test {

/// The calls of pthread_join() and pthread_exit() by the libraries. The test program is linked with
/// a wrapper for each.
struct ThreadCalls {
  std::atomic<unsigned int> joins{0};
  /// What pthread_join() returns after it has joined.
  std::atomic<int> joinResult{0};
  std::atomic<unsigned int> exits{0};
  /// What the last pthread_exit() was given.
  std::atomic<void*> exitValue{nullptr};
};

/// Never destroyed, since threads may end late.
ThreadCalls& threadCalls();

}  // namespace velp::test
