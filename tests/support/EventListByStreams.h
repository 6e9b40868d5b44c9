// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list's text, read by standard streams: slow, and what the codec must equal.
#pragma once

#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "velpmsg/VelpMsgReqGetEventList.h"

namespace velp::test::bystreams {

using Event = VelpMsgReqGetEventList::Event;

template <typename Number>
void extractDecimal(const std::string& field, Number& number) {
  std::istringstream stream(field);
  stream.imbue(std::locale::classic());
  stream >> std::dec >> number;
}

inline void setDataFromEventInfo(const std::string& info, Event& event) {
  std::istringstream fields(info);
  std::string field;
  for (int position = 0; std::getline(fields, field, ';'); ++position) {
    if (position == 0) extractDecimal(field, event.number);
    if (position == 1) event.text = field;
    if (position == 2) extractDecimal(field, event.code);
  }
}

inline std::vector<Event> readList(const std::string& text) {
  std::vector<Event> events;
  std::istringstream tokens(text);
  for (std::string token; std::getline(tokens, token, ' ');) {
    if (token.empty()) continue;
    Event event;
    setDataFromEventInfo(token, event);
    events.push_back(event);
  }
  return events;
}

inline std::string writeInfo(const Event& event) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << event.number << ';' << event.text << ';' << event.code << ';';
  return stream.str();
}

}  // namespace velp::test::bystreams
