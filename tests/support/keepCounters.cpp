// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Measuring coverage: processes that end without running exit handlers keep their counters, too.
#include <unistd.h>

extern "C" {

void __gcov_dump();
[[noreturn]] void __real_abort();
[[noreturn]] void __real__exit(int);
[[noreturn]] void __real__Exit(int);

[[noreturn]] void __wrap_abort() {
  __gcov_dump();
  __real_abort();
}

[[noreturn]] void __wrap__exit(int status) {
  // The counters belong to the user that the process began as.
  if (seteuid(getuid()) == 0) __gcov_dump();
  __real__exit(status);
}

[[noreturn]] void __wrap__Exit(int status) {
  __gcov_dump();
  __real__Exit(status);
}

}  // extern "C"
