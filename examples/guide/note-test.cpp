// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The guide's test: service and client in one process, without files or other processes.
#include <cstdlib>
#include <iostream>

#include "NoteService.h"
#include "notes.h"
#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

// [snippet expect]
void expect(bool truth, const char* claim) {
  if (truth) return;
  std::cerr << "wrong: " << claim << '\n';
  std::exit(1);
}

VelpClientMessageResponse ask(const VelpClientMessageRequest& request) {
  VelpClientMessageResponse response;
  const int result = VelpMsgSender::getInstance()->sendRequestWaitForResponse(
      "NoteService", request, response, 20);
  expect(result == 0, "the service answers");
  return response;
}
// [snippet]

}  // namespace

// [snippet main]
int main() {
  NoteService service(2, "/dev/null", std::chrono::milliseconds(0));
  VelpBusProxy::getInstance()->connect("NoteService", "inproc:");

  expect(ask(addRequest("buy milk")).getString(0, 2) == "1", "the first note is number 1");
  expect(ask(getRequest(1)).getString(0, 2) == "buy milk", "a note comes back as it was");
  expect(ask(getRequest(9)).getErrorCode() == ERROR_NO_SUCH_NOTE, "note 9 is not there");

  ask(addRequest("call home"));
  expect(
      ask(addRequest("too many")).getErrorCode() == VelpClientMessageResponse::ERROR_NOT_AVAILABLE,
      "a full service takes no more");
  std::cout << "all is well\n";
}
// [snippet]
