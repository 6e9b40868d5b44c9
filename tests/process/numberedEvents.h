// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Event lists that depend on a number in the request, so that a wrong answer shows.
#pragma once

#include <string>
#include <vector>

#include "velp/message/VelpClientMessageRequest.h"
#include "velpmsg/VelpMsgReqGetEventList.h"

namespace velp::test {

inline VelpClientMessageRequest numberedRequest(unsigned int number) {
  const std::string digits = std::to_string(number);
  const std::vector<unsigned char> payload(digits.begin(), digits.end());
  return VelpClientMessageRequest(VelpClientMessageBase::MSG_GET_EVENT_LIST, payload.data(),
                                  static_cast<unsigned int>(payload.size()));
}

inline unsigned int numberOf(const VelpClientMessageRequest& request) {
  const std::vector<unsigned char>& payload = request.getPayload();
  return static_cast<unsigned int>(std::stoul(std::string(payload.begin(), payload.end())));
}

/// Zero to four events.
inline VelpMsgReqGetEventList numberedList(unsigned int number) {
  VelpMsgReqGetEventList list;
  list.leadByte = number % 256;
  for (unsigned int i = 0; i < number % 5; ++i) {
    VelpMsgReqGetEventList::Event event;
    event.number = number + i;
    event.text = "event-" + std::to_string(number);
    event.code = number % 7;
    list.events.push_back(event);
  }
  return list;
}

inline bool sameEvents(const VelpMsgReqGetEventList& a, const VelpMsgReqGetEventList& b) {
  if (a.leadByte != b.leadByte || a.events.size() != b.events.size()) return false;
  for (std::size_t i = 0; i < a.events.size(); ++i) {
    if (a.events[i].getEventInfo() != b.events[i].getEventInfo()) return false;
  }
  return true;
}

}  // namespace velp::test
