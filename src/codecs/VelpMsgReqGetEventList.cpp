// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list: events as text, joined by spaces in one string field.
#include "velpmsg/VelpMsgReqGetEventList.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "codecs/bigEndian.h"
#include "codecs/decimal.h"

namespace {

constexpr unsigned short textPosition = 3;
constexpr unsigned short textLengthSize = 2;

using Event = VelpMsgReqGetEventList::Event;

// Calls `use` with each part of `text` that a separator ends, and with the rest if there is any.
template <typename Use>
void forEachPart(std::string_view text, char separator, Use use) {
  while (!text.empty()) {
    const std::string_view part = text.substr(0, text.find(separator));
    use(part);
    text.remove_prefix(std::min(part.size() + 1, text.size()));
  }
}

void readEvent(std::string_view info, Event& event) {
  unsigned int position = 0;
  forEachPart(info, ';', [&](std::string_view field) {
    if (position == 0) velp::extractDecimal(field, event.number);
    if (position == 1) event.text = field;
    if (position == 2) velp::extractDecimal(field, event.code);
    ++position;
  });
}

std::string listText(const std::vector<Event>& events) {
  std::string text;
  for (const auto& event : events) {
    // QUIRK(19): nothing keeps spaces and semicolons out of an event's own text.
    if (!text.empty()) text += ' ';
    text += event.getEventInfo();
  }
  return text;
}

}  // namespace

std::string VelpMsgReqGetEventList::Event::getEventInfo() const {
  return std::to_string(number) + ';' + text + ';' + std::to_string(code) + ';';
}

void VelpMsgReqGetEventList::Event::setDataFromEventInfo(const std::string& info) {
  // A copy: the caller may pass the event's own text, which reading changes.
  readEvent(std::string(info), *this);
}

unsigned int VelpMsgReqGetEventList::setResponseData(std::vector<unsigned char>& payload) const {
  const std::string text = listText(events);
  payload.push_back(static_cast<unsigned char>(leadByte));
  // QUIRK(20): count and length wrap at two bytes, while everything that they count is written.
  velp::appendBigEndian(payload, events.size(), 2);
  velp::appendBigEndian(payload, text.size(), 2);
  payload.insert(payload.end(), text.begin(), text.end());
  return static_cast<unsigned int>(payload.size());
}

bool VelpMsgReqGetEventList::initFromResponse(const VelpClientMessageResponse& response) {
  if (response.getAnsweredID() != VelpClientMessageBase::MSG_GET_EVENT_LIST) return false;
  if (response.getStatus() != VelpClientMessageResponse::STATUS_OK) return false;
  const std::vector<unsigned char>& payload = response.getPayload();
  leadByte = payload.empty() ? 0 : payload.front();
  // QUIRK(18): the count before the text is not read; the text alone tells how many events there
  // are.
  const std::string text = response.getString(textPosition, textLengthSize);
  forEachPart(text, ' ', [this](std::string_view token) {
    if (token.empty()) return;
    Event event;
    readEvent(token, event);
    // QUIRK(17): appends to the events that are already there.
    events.push_back(std::move(event));
  });
  return true;
}
