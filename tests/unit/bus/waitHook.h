// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Lets a test act at moments that it cannot see from outside.
#pragma once

#include <functional>

namespace velp::test {

/// While it lives, the library's untimed waits call a function first: on the thread that is going
/// to wait, with the lock held that the wait gives up.
class WaitHook {
 public:
  explicit WaitHook(std::function<void()> function);
  ~WaitHook();
  WaitHook(const WaitHook&) = delete;
  WaitHook& operator=(const WaitHook&) = delete;
};

/// While it lives, no thread can be started by the thread that made it.
class NoMoreThreads {
 public:
  NoMoreThreads();
  ~NoMoreThreads();
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;
};

/// Runs before the next participant is made, and not again.
extern std::function<void()> beforeNextParticipant;

/// While true, no link can be had without waiting.
extern bool busyLinks;

}  // namespace velp::test
