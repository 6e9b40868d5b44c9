// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list as one would write it first: standard streams, and one byte after the other. The
// tests have streams too, which set the classic locale; that makes them slower by up to a third.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "velpmsg/VelpMsgReqGetEventList.h"

namespace velp::bench::plain {

using Event = VelpMsgReqGetEventList::Event;

inline std::string eventInfo(const Event& event) {
  std::ostringstream stream;
  stream << event.number << ';' << event.text << ';' << event.code << ';';
  return stream.str();
}

inline std::string listText(const VelpMsgReqGetEventList& list) {
  std::ostringstream text;
  for (std::size_t i = 0; i < list.events.size(); ++i) {
    if (i > 0) text << ' ';
    text << eventInfo(list.events[i]);
  }
  return text.str();
}

inline void appendTwoBytes(std::vector<unsigned char>& payload, std::size_t value) {
  payload.push_back(static_cast<unsigned char>(value >> 8 & 0xFF));
  payload.push_back(static_cast<unsigned char>(value & 0xFF));
}

inline void setResponseData(const VelpMsgReqGetEventList& list,
                            std::vector<unsigned char>& payload) {
  const std::string text = listText(list);
  payload.push_back(static_cast<unsigned char>(list.leadByte));
  appendTwoBytes(payload, list.events.size());
  appendTwoBytes(payload, text.size());
  for (const char c : text) payload.push_back(static_cast<unsigned char>(c));
}

template <typename Number>
void readNumber(const std::string& field, Number& number) {
  std::istringstream stream(field);
  stream >> number;
}

inline void setDataFromEventInfo(const std::string& info, Event& event) {
  std::istringstream fields(info);
  std::string field;
  for (int position = 0; std::getline(fields, field, ';'); ++position) {
    if (position == 0) readNumber(field, event.number);
    if (position == 1) event.text = field;
    if (position == 2) readNumber(field, event.code);
  }
}

inline void initFromResponse(VelpMsgReqGetEventList& list,
                             const VelpClientMessageResponse& response) {
  list.leadByte = response.getPayload().at(0);
  std::istringstream tokens(response.getString(3, 2));
  for (std::string token; std::getline(tokens, token, ' ');) {
    if (token.empty()) continue;
    Event event;
    setDataFromEventInfo(token, event);
    list.events.push_back(event);
  }
}

}  // namespace velp::bench::plain
