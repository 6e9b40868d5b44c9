// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list: events as text, joined by spaces in one string field.
#include "velpmsg/VelpMsgReqGetEventList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "codecs/bigEndian.h"
#include "codecs/decimal.h"

namespace {

constexpr unsigned short countPosition = 1;
constexpr unsigned short countSize = 2;
constexpr unsigned short textPosition = 3;
constexpr unsigned short textLengthSize = 2;
constexpr std::size_t headSize = textPosition + textLengthSize;

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

// At least as many characters as the event's text form has, and a space.
std::size_t roomFor(const Event& event) {
  constexpr std::size_t separators = 4;
  return velp::mostDigits<std::uint64_t> + event.text.size() + velp::mostDigits<std::uint32_t> +
         separators;
}

std::size_t roomFor(const std::vector<Event>& events) {
  std::size_t room = 0;
  for (const auto& event : events) room += roomFor(event);
  return room;
}

// Writes the text form and returns where it ends.
char* writeEvent(char* to, const Event& event) {
  to = velp::writeDecimal(to, event.number);
  *to++ = ';';
  to = std::copy(event.text.begin(), event.text.end(), to);
  *to++ = ';';
  to = velp::writeDecimal(to, event.code);
  *to++ = ';';
  return to;
}

char* writeList(char* to, const std::vector<Event>& events) {
  const char* const begin = to;
  for (const auto& event : events) {
    // QUIRK(19): nothing keeps spaces and semicolons out of an event's own text.
    if (to != begin) *to++ = ' ';
    to = writeEvent(to, event);
  }
  return to;
}

}  // namespace

std::string VelpMsgReqGetEventList::Event::getEventInfo() const {
  std::string info(roomFor(*this), '\0');
  info.resize(static_cast<std::size_t>(writeEvent(info.data(), *this) - info.data()));
  return info;
}

void VelpMsgReqGetEventList::Event::setDataFromEventInfo(const std::string& info) {
  // A copy: the caller may pass the event's own text, which reading changes.
  readEvent(std::string(info), *this);
}

// Room for the longest text is made at once, and what is left of it given back: that is faster than
// to let the payload grow, or to find out first how many digits there are.
unsigned int VelpMsgReqGetEventList::setResponseData(std::vector<unsigned char>& payload) const {
  const std::size_t before = payload.size();
  payload.resize(before + headSize + roomFor(events));
  unsigned char* const head = payload.data() + before;
  char* const text = reinterpret_cast<char*>(head + headSize);
  const auto textSize = static_cast<std::size_t>(writeList(text, events) - text);
  *head = static_cast<unsigned char>(leadByte);
  // QUIRK(20): count and length wrap at two bytes, while everything that they count is written.
  velp::writeBigEndian(head + countPosition, events.size(), countSize);
  velp::writeBigEndian(head + textPosition, textSize, textLengthSize);
  payload.resize(before + headSize + textSize);
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
    // QUIRK(17): appends to the events that are already there.
    readEvent(token, events.emplace_back());
  });
  return true;
}
