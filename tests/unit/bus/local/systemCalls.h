// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Lets a test act inside the local transport's system calls, or make them fail.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace velp::test {

/// The calls that can be hooked, named as their symbols are.
enum class Call {
  accept4,
  bind,
  connect,
  epoll_create1,
  epoll_ctl,
  eventfd,
  fcntl64,
  fstat64,
  getrandom,
  getsockopt,
  listen,
  lstat64,
  memfd_create,
  mkdir,
  open64,
  pread64,
  pthread_mutex_lock,
  realpath,
  recvmmsg,
  send,
  sendmsg,
  socket,
  unlinkat,
  write,
  count
};

/// While it lives, a function is asked before each such call of the thread that made it; not while
/// that function runs. It returns the error to fail with, or 0 to let the call happen.
class CallHook {
 public:
  using Decide = std::function<int()>;

  CallHook(Call call, Decide decide);
  ~CallHook();
  CallHook(const CallHook&) = delete;
  CallHook& operator=(const CallHook&) = delete;

  /// How often it was asked.
  unsigned int calls() const { return asked; }
  int ask();

 private:
  const Call call;
  const Decide decide;
  unsigned int asked = 0;
};

/// While it lives, calls fail with these errors in turn; 0, and the list's end, let them happen.
class FailingCall : public CallHook {
 public:
  FailingCall(Call call, std::vector<int> codes);
};

/// While it lives, this thread's monotonic clock stands still, and goes on only as told.
class StoppedClock {
 public:
  StoppedClock();
  ~StoppedClock();
  StoppedClock(const StoppedClock&) = delete;
  StoppedClock& operator=(const StoppedClock&) = delete;

  void advance(std::uint64_t milliseconds);
};

}  // namespace velp::test
