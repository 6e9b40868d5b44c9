// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// peer-exit NAME ADDRESS TARGET HOW: ends with requests and answers in flight, in both directions.
//
//   return   main() returns
//   exit     another thread calls exit(); the handler is a static object
#include <stdlib.h>

#include <string>
#include <thread>

#include "process/NumberedService.h"

namespace {

using velp::test::numberedRequest;

// Requests to the target and to this very process, which serves them while it ends.
void flood(const std::string& self, const std::string& target) {
  VelpMsgSender* sender = VelpMsgSender::getInstance();
  for (unsigned int i = 0; i < 50; ++i) {
    sender->sendRequest(target, numberedRequest(i));
    sender->sendRequest(self, numberedRequest(i));
  }
}

void serveAndFlood(velp::test::NumberedService& service, char** argv) {
  service.getHandler().registerResponse(VelpClientMessageBase::MSG_GET_EVENT_LIST,
                                        [](const VelpClientMessageResponse&) {});
  VelpBusProxy::getInstance()->connect(argv[1], argv[2]);
  flood(argv[1], argv[3]);
}

}  // namespace

int main(int, char** argv) {
  // The sender is made before the service, so that it outlives a static one.
  VelpMsgSender::getInstance();
  if (argv[4] == std::string("exit")) {
    static velp::test::NumberedService service;
    serveAndFlood(service, argv);
    std::thread([] { exit(0); }).join();
  }
  velp::test::NumberedService service;
  serveAndFlood(service, argv);
}
