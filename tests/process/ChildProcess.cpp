// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// posix_spawn with both outputs on pipes.
#include "ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace velp::test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds watchdog(60);
constexpr int watchdogStatus = -1000;

int millisecondsUntil(Clock::time_point deadline) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Settings named later win, as getenv() finds the first.
std::vector<std::string> environmentWith(std::vector<std::string> settings) {
  for (char** setting = environ; *setting != nullptr; ++setting) settings.emplace_back(*setting);
  return settings;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment) {
  start(command, environment);
}

ChildProcess::~ChildProcess() {
  if (pid < 0) return;
  killGroup(SIGKILL);
  if (!reaped) reap();
  for (const int end : ends) {
    if (end >= 0) close(end);
  }
}

void ChildProcess::start(const std::vector<std::string>& command,
                         const std::vector<std::string>& environment) {
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  std::array<int, 2> writeEnds = {-1, -1};
  for (std::size_t i = 0; i < 2; ++i) {
    int pair[2];
    ASSERT_EQ(pipe2(pair, O_CLOEXEC), 0);
    ends[i] = pair[0];
    writeEnds[i] = pair[1];
    posix_spawn_file_actions_adddup2(&actions, pair[1], static_cast<int>(i) + 1);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

  std::vector<std::string> arguments = command;
  std::vector<std::string> settings = environmentWith(environment);
  const int result = posix_spawn(&pid, command[0].c_str(), &actions, &attributes,
                                 pointersTo(arguments).data(), pointersTo(settings).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  for (const int end : writeEnds) close(end);
  if (result != 0) pid = -1;
  ASSERT_EQ(result, 0) << "cannot start " << command[0];
}

bool ChildProcess::waitForLine(const std::string& part) {
  const auto deadline = Clock::now() + watchdog;
  do {
    const std::size_t found = out().find(part, passed);
    const std::size_t lineEnd = found == std::string::npos ? found : out().find('\n', found);
    if (lineEnd != std::string::npos) {
      passed = lineEnd + 1;
      return true;
    }
  } while (readMore(millisecondsUntil(deadline)));
  ADD_FAILURE() << "no line with \"" << part << "\"; out:\n" << out() << "err:\n" << err();
  return false;
}

int ChildProcess::waitForEnd() {
  const auto deadline = Clock::now() + watchdog;
  while (readMore(millisecondsUntil(deadline))) {
  }
  if (ends[0] >= 0 || ends[1] >= 0) {
    ADD_FAILURE() << "still runs; out:\n" << out() << "err:\n" << err();
    return watchdogStatus;
  }
  return reap();
}

int ChildProcess::reap() {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  reaped = true;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ChildProcess::kill(int signal) {
  if (!reaped) ::kill(pid, signal);
}

void ChildProcess::killGroup(int signal) {
  ::kill(-pid, signal);
}

// A process that has ended belongs to its group until it is reaped, and nobody but us reaps those
// that outlive their parent by a moment.
bool ChildProcess::groupEnds() const {
  const auto deadline = Clock::now() + watchdog;
  while (::kill(-pid, 0) == 0 && Clock::now() < deadline) {
    if (waitpid(-pid, nullptr, WNOHANG) <= 0) std::this_thread::yield();
  }
  return ::kill(-pid, 0) != 0 && errno == ESRCH;
}

// Waits for more output. False at the end of both outputs, or when nothing comes in time.
bool ChildProcess::readMore(int milliseconds) {
  std::array<pollfd, 2> waits = {{{ends[0], POLLIN, 0}, {ends[1], POLLIN, 0}}};
  if (ends[0] < 0 && ends[1] < 0) return false;
  if (poll(waits.data(), waits.size(), milliseconds) <= 0) return errno == EINTR;
  for (std::size_t i = 0; i < 2; ++i) {
    if (waits[i].revents == 0) continue;
    std::array<char, 4096> block;
    const ssize_t count = read(ends[i], block.data(), block.size());
    if (count > 0) {
      texts[i].append(block.data(), static_cast<std::size_t>(count));
    } else {
      close(ends[i]);
      ends[i] = -1;
    }
  }
  return true;
}

}  // namespace velp::test
