// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One request callback, run by the handler's worker thread.
#include "EventService.h"

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <utility>

#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"
#include "velpmsg/VelpMsgSender.h"

EventService::EventService(std::vector<VelpMsgReqGetEventList::Event> events,
                           std::chrono::milliseconds delay)
    : delay(delay), handler(0) {
  list.events = std::move(events);
  handler.registerRequest(
      VelpClientMessageBase::MSG_GET_EVENT_LIST, AVAILABLE,
      [this](const VelpClientMessageRequest& request) { return serve(request); });
}

EventService::~EventService() {
  {
    std::lock_guard<std::mutex> locker(mutex);
    ending = true;
  }
  changed.notify_all();
  handler.stop();
  VelpBusProxy::getInstance()->disconnect();
}

void EventService::join(const std::string& name, const std::string& address) {
  VelpBusProxy::getInstance()->connect(name, address);
}

requestState_t EventService::serve(const VelpClientMessageRequest& request) {
  const std::string& client = request.getText();
  fmt::print("serving {}\n", velp::escaped(client));
  std::fflush(stdout);
  takeTime();

  std::vector<unsigned char> payload;
  list.setResponseData(payload);
  // Open before the answer is out: whoever has the answer may ask again at once.
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  if (!VelpMsgSender::getInstance()->sendResponseOK(client, request.getMsgID(), payload)) {
    fmt::print("{} has gone, its answer is dropped\n", velp::escaped(client));
    std::fflush(stdout);
  }
  return AVAILABLE;
}

void EventService::takeTime() {
  std::unique_lock<std::mutex> locker(mutex);
  changed.wait_for(locker, delay, [this] { return ending; });
}
