// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers of pthread_join() and pthread_exit(), named as the linker's --wrap option wants
// them.
#include "ThreadCalls.h"

#include <pthread.h>

namespace velp::test {

ThreadCalls& threadCalls() {
  static ThreadCalls& instance = *new ThreadCalls;
  return instance;
}

}  // namespace velp::test

using velp::test::threadCalls;

extern "C" {

int __real_pthread_join(pthread_t, void**);
[[noreturn]] void __real_pthread_exit(void*);

int __wrap_pthread_join(pthread_t thread, void** value) {
  ++threadCalls().joins;
  const int result = __real_pthread_join(thread, value);
  return result != 0 ? result : threadCalls().joinResult.load();
}

[[noreturn]] void __wrap_pthread_exit(void* value) {
  threadCalls().exitValue = value;
  ++threadCalls().exits;
  __real_pthread_exit(value);
}

}  // extern "C"
