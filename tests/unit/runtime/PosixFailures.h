// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Makes POSIX calls of the runtime fail, and counts them.
#pragma once

#include <functional>

namespace velp::test {

/// The calls that this test program wraps, see its CMakeLists.txt.
enum class PosixCall {
  condattrInit,
  condattrSetclock,
  condInit,
  condWait,
  condTimedwait,
  condSignal,
  condDestroy,
  clockGettime,
  threadCreate,
  yield,
  last
};

/// How often this thread has made `call` through the wrapper.
unsigned int callsOf(PosixCall call);

/// Runs `action` before this thread makes `call` the next time, and not again.
void beforeNext(PosixCall call, std::function<void()> action);

/// As long as it lives, `call` fails with `error` when this thread makes it, after `action`.
class FailingCall {
 public:
  FailingCall(PosixCall call, int error, std::function<void()> action = nullptr);
  ~FailingCall();
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;

 private:
  const PosixCall call;
};

/// As long as it lives, each yield of this thread calls `action` instead.
class InsteadOfYields {
 public:
  explicit InsteadOfYields(std::function<void()> action);
  ~InsteadOfYields();
  InsteadOfYields(const InsteadOfYields&) = delete;
  InsteadOfYields& operator=(const InsteadOfYields&) = delete;
};

}  // namespace velp::test
