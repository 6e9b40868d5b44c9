// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A forked child that stays while a test looks at what it holds.
#pragma once

#include <sys/types.h>

#include <functional>

namespace velp::test {

/// Forks a child that runs `setUp` and then stays until it is killed, at the latest after 60 s.
/// The constructor returns when `setUp` has; the test fails when that ended in a failure.
class Background {
 public:
  explicit Background(const std::function<void()>& setUp);
  /// Kills it, unless that is done.
  ~Background() { kill(); }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  /// With SIGKILL; returns when it is dead.
  void kill();
  pid_t getPid() const { return pid; }

 private:
  pid_t pid = -1;
};

/// In a child: waits to be killed.
[[noreturn]] void stay();

}  // namespace velp::test
