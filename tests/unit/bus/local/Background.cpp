// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The child tells through a pipe that it is ready; its death tells that it will not be.
#include "unit/bus/local/Background.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace velp::test {

void stay() {
  for (;;) pause();
}

Background::Background(const std::function<void()>& setUp) {
  std::array<int, 2> ends = {-1, -1};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  std::fflush(nullptr);
  pid = fork();
  if (pid == 0) {
    alarm(60);
    setUp();
    std::fflush(nullptr);
    const char verdict = testing::Test::HasFailure() ? 'n' : 'y';
    if (write(ends[1], &verdict, 1) != 1) _exit(1);
    stay();
  }
  ::close(ends[1]);
  char verdict = 0;
  EXPECT_EQ(read(ends[0], &verdict, 1), 1) << "the child has died";
  EXPECT_EQ(verdict, 'y');
  ::close(ends[0]);
}

void Background::kill() {
  if (pid <= 0) return;
  ::kill(pid, SIGKILL);
  EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
  pid = -1;
}

}  // namespace velp::test
