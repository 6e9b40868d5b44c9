// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A child that ends without unwinding what belongs to the parent.
#include "unit/bus/inChild.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace {

bool isChild = false;

}  // namespace

// What the parent's threads owned is out of reach in the child, which is no leak.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return isChild ? 1 : 0;
}

// By default the thread sanitizer does not let a forked child start threads.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "die_after_fork=0";
}

namespace velp::test {

namespace {

// Stacks of the parent's threads are free in the child, but the thread sanitizer takes a thread on
// one of them for the one that was there. Larger ones are new.
void useNewStacks() {
  pthread_attr_t attributes;
  std::size_t size = 0;
  pthread_getattr_default_np(&attributes);
  pthread_attr_getstacksize(&attributes, &size);
  pthread_attr_setstacksize(&attributes, 2 * size);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
}

}  // namespace

bool inChild(const std::function<void()>& function) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    isChild = true;
    alarm(60);
    useNewStacks();
    function();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace velp::test
