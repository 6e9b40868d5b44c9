// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The service that the process tests ask.
#pragma once

#include <cstdio>
#include <vector>

#include "numberedEvents.h"
#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {

/// Taken and never answered.
constexpr auto silentID = static_cast<VelpClientMessageBase::velpMsgID_t>(61);

/// Answers ID 50 with the list that belongs to the request's number, and ID 61 never.
class NumberedService {
 public:
  NumberedService() : handler(0) {
    handler.registerRequest(
        VelpClientMessageBase::MSG_GET_EVENT_LIST, AVAILABLE,
        [this](const VelpClientMessageRequest& request) { return answer(request); });
    handler.registerRequest(silentID, AVAILABLE, [](const VelpClientMessageRequest&) {
      std::puts("taken");
      std::fflush(stdout);
      return BUSY;
    });
  }

  VelpMsgHandler& getHandler() { return handler; }

 private:
  requestState_t answer(const VelpClientMessageRequest& request) {
    std::vector<unsigned char> payload;
    numberedList(numberOf(request)).setResponseData(payload);
    // Open before the answer is out: whoever has the answer may ask again at once.
    handler.setRequestState(request.getMsgID(), AVAILABLE);
    VelpMsgSender::getInstance()->sendResponseOK(request.getText(), request.getMsgID(), payload);
    return AVAILABLE;
  }

  VelpMsgHandler handler;
};

}  // namespace velp::test
