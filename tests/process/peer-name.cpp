// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// peer-name NAME ADDRESS: joins and holds the name until it is killed, or says why it cannot.
#include <unistd.h>

#include <cstdio>

#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/VelException.h"

int main(int, char** argv) {
  try {
    VelpBusProxy::getInstance()->connect(argv[1], argv[2]);
  } catch (const VelException& error) {
    std::printf("refused %d %s\n", error.getErrorCode(), error.what());
    return 1;
  }
  std::puts("joined");
  std::fflush(stdout);
  pause();
}
