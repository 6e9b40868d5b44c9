// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// peer-exit NAME ADDRESS TARGET HOW: ends in the middle of its work.
//
//   return   main() returns with requests and answers in flight
//   exit     exit() in a callback's neighbourhood: another thread calls it, the handler still works
//   wait     main() returns while a thread waits for the answer to a request
#include <stdlib.h>

#include <cstdio>
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

void waitForSilentService(const std::string& target) {
  const VelpClientMessageRequest request(velp::test::silentID, nullptr, 0);
  VelpClientMessageResponse response;
  const int result =
      VelpMsgSender::getInstance()->sendRequestWaitForResponse(target, request, response, 5);
  std::printf("waited: %d\n", result);
}

}  // namespace

int main(int, char** argv) {
  const std::string target = argv[3];
  const std::string how = argv[4];
  // Never destroyed: the process ends while it serves.
  auto* service = new velp::test::NumberedService;
  service->getHandler().registerResponse(VelpClientMessageBase::MSG_GET_EVENT_LIST,
                                         [](const VelpClientMessageResponse&) {});
  VelpBusProxy::getInstance()->connect(argv[1], argv[2]);
  if (how == "wait") std::thread(waitForSilentService, target).detach();
  flood(argv[1], target);
  if (how == "exit") std::thread([] { exit(0); }).join();
}
