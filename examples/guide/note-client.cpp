// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The guide's client: note-client BUS add TEXT | get N | list | remove FROM TO | clear | export
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "notes.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgReqRmData.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

using Words = std::vector<std::string>;

int tell(int status, const std::string& text) {
  std::cerr << "note-client: " << text << '\n';
  return status;
}

// [snippet ask]
int ask(const VelpClientMessageRequest& request, VelpClientMessageResponse& response) {
  constexpr unsigned short timeout = 5;
  const int result = VelpMsgSender::getInstance()->sendRequestWaitForResponse(
      "NoteService", request, response, timeout);
  if (result == -1) return tell(3, "NoteService is not on the bus, or too far behind");
  if (result == -2) return tell(4, "NoteService has said nothing for 5 s");
  if (response.getStatus() == VelpClientMessageResponse::STATUS_ERROR) {
    return tell(2, "error " + std::to_string(response.getErrorCode()) + ": " +
                       velp::escaped(response.getErrorText()));
  }
  return 0;
}
// [snippet]

int print(const VelpClientMessageRequest& request) {
  // [snippet print]
  VelpClientMessageResponse response;
  const int status = ask(request, response);
  if (status == 0) std::cout << velp::escaped(response.getString(0, 2)) << '\n';
  return status;
  // [snippet]
}

// [snippet print-list]
int printList() {
  VelpClientMessageResponse response;
  const int status = ask(
      VelpClientMessageRequest(VelpClientMessageBase::MSG_GET_EVENT_LIST, nullptr, 0), response);
  VelpMsgReqGetEventList list;
  if (status == 0 && !list.initFromResponse(response)) return tell(2, "no list");
  for (const auto& event : list.events) {
    std::cout << event.number << ' ' << velp::escaped(event.text) << '\n';
  }
  return status;
}
// [snippet]

VelpClientMessageRequest removal(const std::string& from, const std::string& to) {
  // [snippet removal]
  VelpMsgReqRmData what;
  what.mode = 1;
  what.spans = {{0, std::stoul(from), std::stoul(to), ""}};
  what.count = 1;
  return what.getRequest();
  // [snippet]
}

// [snippet watch]
int exportAndWatch() {
  VelpMsgHandler handler(0);
  handler.registerResponse(MSG_EXPORT_NOTES, [](const VelpClientMessageResponse& response) {
    if (response.getStatus() != VelpClientMessageResponse::STATUS_PROGRESS) return;
    if (response.getText() != "NoteService") return;  // anybody may send such a message
    std::cout << std::to_string(response.getProgress()) + " % " +
                     velp::escaped(response.getProgressText()) + '\n'
              << std::flush;
  });
  VelpClientMessageResponse response;
  const int status = ask(VelpClientMessageRequest(MSG_EXPORT_NOTES, nullptr, 0), response);
  handler.stop();  // it prints on a thread of its own: no step behind the answer
  if (status == 0) std::cout << velp::escaped(response.getString(0, 2)) << '\n';
  return status;
}
// [snippet]

int run(const Words& words) {
  const std::string& command = words.at(1);
  VelpBusProxy::getInstance()->connect("NoteClient", words.at(0));
  if (command == "add") return print(addRequest(words.at(2)));
  if (command == "get") {
    return print(getRequest(static_cast<std::uint32_t>(std::stoul(words.at(2)))));
  }
  if (command == "list") return printList();
  if (command == "remove") return print(removal(words.at(2), words.at(3)));
  if (command == "clear") return print(VelpMsgReqRmData().getRequest());
  if (command == "export") return exportAndWatch();
  return tell(1, "no such command: " + command);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(Words(argv + 1, argv + argc));
  } catch (const std::exception& error) {
    return tell(1, error.what());
  }
}
