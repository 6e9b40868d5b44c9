// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A child process whose output a test follows.
#pragma once

#include <sys/types.h>

#include <array>
#include <string>
#include <vector>

namespace velp::test {

/// Runs a program in a process group of its own. All waits end after a watchdog of 60 s with a test
/// failure that shows what the program has written.
///
///     ChildProcess service({VELP_PEERS "peer-service", "Service", bus.address()});
///     ASSERT_TRUE(service.waitForLine("ready"));
class ChildProcess {
 public:
  /// Starts `command`; `environment` ("NAME=value") is added to the test's own.
  explicit ChildProcess(const std::vector<std::string>& command,
                        const std::vector<std::string>& environment = {});
  /// Kills what still runs of the process group.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Waits until a line on standard output that no earlier call has passed contains `part`.
  bool waitForLine(const std::string& part);
  /// Waits for the end of the program and of everything that shares its output. Returns the exit
  /// status, or minus the signal that killed it; -1000 when the watchdog ended the wait.
  int waitForEnd();
  /// Sends a signal to the program alone, or to its whole process group.
  void kill(int signal);
  void killGroup(int signal);
  /// Once the child is reaped: whether all others of its group end as well, in time.
  bool groupEnds() const;

  pid_t getPid() const { return pid; }
  /// Everything written so far.
  const std::string& out() const { return texts[0]; }
  const std::string& err() const { return texts[1]; }

 private:
  void start(const std::vector<std::string>& command, const std::vector<std::string>& environment);
  bool readMore(int milliseconds);
  int reap();

  pid_t pid = -1;
  bool reaped = false;
  std::array<int, 2> ends = {-1, -1};
  std::array<std::string, 2> texts;
  std::size_t passed = 0;  // how much of texts[0] waitForLine() has passed
};

}  // namespace velp::test
