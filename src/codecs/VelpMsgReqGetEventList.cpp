// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list: events as text, joined by spaces in one string field.
#include "velpmsg/VelpMsgReqGetEventList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
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

// Calls `use` with each part of `text` between spaces, unless it is empty.
template <typename Use>
void forEachToken(std::string_view text, Use use) {
  while (!text.empty()) {
    const std::string_view token = text.substr(0, text.find(' '));
    if (!token.empty()) use(token);
    text.remove_prefix(std::min(token.size() + 1, text.size()));
  }
}

// Takes the next field and the semicolon that ends it off `rest`.
std::string_view takeField(std::string_view& rest) {
  const std::string_view field = rest.substr(0, rest.find(';'));
  rest.remove_prefix(std::min(field.size() + 1, rest.size()));
  return field;
}

// As takeField(). Most fields are digits alone, and not too many: these need neither a search for
// the semicolon nor a look at the number's range.
template <typename Number>
void takeNumber(std::string_view& rest, Number& number) {
  constexpr std::size_t digitsThatFit = std::numeric_limits<Number>::digits10;
  const std::size_t limit = std::min(rest.size(), digitsThatFit + 1);
  Number value = 0;
  std::size_t position = 0;
  while (position < limit && velp::isDigit(rest[position])) {
    value = value * 10 + static_cast<Number>(rest[position] - '0');
    ++position;
  }
  if (position > 0 && position < limit && rest[position] == ';') {
    number = value;
    rest.remove_prefix(position + 1);
  } else {
    velp::extractDecimal(takeField(rest), number);
  }
}

void readEvent(std::string_view info, Event& event) {
  takeNumber(info, event.number);
  if (!info.empty()) event.text = takeField(info);
  takeNumber(info, event.code);
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
  const bool isOwnText = &info == &text;  // which reading changes
  if (isOwnText) return readEvent(std::string(info), *this);
  readEvent(info, *this);
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
  forEachToken(text, [this](std::string_view token) {
    // QUIRK(17): appends to the events that are already there.
    readEvent(token, events.emplace_back());
  });
  return true;
}
