// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Makes POSIX calls of the runtime fail, and counts them.
#pragma once

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
  last
};

/// How often this thread has made `call` through the wrapper.
unsigned int callsOf(PosixCall call);

/// As long as it lives, `call` fails with `error` when this thread makes it.
class FailingCall {
 public:
  FailingCall(PosixCall call, int error);
  ~FailingCall();
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;

 private:
  const PosixCall call;
};

}  // namespace velp::test
