// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// peer-fork ADDRESS TARGET: asks TARGET from a child after fork(), before and after the child
// joins.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "process/numberedEvents.h"
#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

bool isChild = false;

int ask(const std::string& target) {
  VelpClientMessageResponse response;
  return VelpMsgSender::getInstance()->sendRequestWaitForResponse(
      target, velp::test::numberedRequest(4), response, 20);
}

void tell(const char* who, int result) {
  std::printf("%s: %d\n", who, result);
  std::fflush(stdout);
}

}  // namespace

// What the parent's threads owned is out of reach in the child, which is no leak.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return isChild ? 1 : 0;
}

int main(int, char** argv) {
  const std::string address = argv[1];
  const std::string target = argv[2];
  VelpBusProxy::getInstance()->connect("Parent", address);
  tell("parent", ask(target));
  const pid_t child = fork();
  if (child == 0) {
    isChild = true;
    tell("child", ask(target));
    VelpBusProxy::getInstance()->connect("Child", address);
    tell("joined child", ask(target));
    return 0;
  }
  int status = 0;
  waitpid(child, &status, 0);
  tell("child's status", status);
  tell("parent afterwards", ask(target));
}
