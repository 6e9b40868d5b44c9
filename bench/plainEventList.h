// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list as one would write it first: standard streams, and one byte after the other.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/EventListByStreams.h"
#include "velpmsg/VelpMsgReqGetEventList.h"

namespace velp::bench::plain {

inline std::string listText(const VelpMsgReqGetEventList& list) {
  std::ostringstream text;
  for (std::size_t i = 0; i < list.events.size(); ++i) {
    if (i > 0) text << ' ';
    text << test::bystreams::writeInfo(list.events[i]);
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

inline void initFromResponse(VelpMsgReqGetEventList& list,
                             const VelpClientMessageResponse& response) {
  list.leadByte = response.getPayload().at(0);
  for (const auto& event : test::bystreams::readList(response.getString(3, 2))) {
    list.events.push_back(event);
  }
}

}  // namespace velp::bench::plain
