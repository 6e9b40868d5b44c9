// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The guide's service process: note-service BUS FILE [LIMIT [PACE]]
#include <signal.h>

#include <iostream>
#include <string>

#include "NoteService.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/VelException.h"

namespace {

void serve(int argc, char** argv, const sigset_t& ends) {
  const std::string bus = argc > 1 ? argv[1] : "local:";
  const std::string file = argc > 2 ? argv[2] : "notes.txt";
  const std::size_t limit = argc > 3 ? std::stoul(argv[3]) : 1000;
  const std::chrono::milliseconds pace(argc > 4 ? std::stoul(argv[4]) : 0);

  // [snippet join]
  NoteService service(limit, file, pace);
  VelpBusProxy::getInstance()->connect("NoteService", bus);
  std::cout << "ready\n" << std::flush;  // in one piece: the library logs there, too
  // [snippet]

  // [snippet wait]
  int received = 0;
  sigwait(&ends, &received);
  // [snippet]
}

}  // namespace

// [snippet main]
int main(int argc, char** argv) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // before any other thread exists
  try {
    serve(argc, argv, ends);
    VelpBusProxy::getInstance()->disconnect();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "note-service: " << error.what() << '\n';
    return 1;
  }
}
// [snippet]
