// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list: events as text, joined by spaces in one string field.
#include "velpmsg/VelpMsgReqGetEventList.h"

#include <locale>
#include <sstream>

#include "codecs/bigEndian.h"

namespace {

constexpr unsigned short textPosition = 3;
constexpr unsigned short textLengthSize = 2;

// The global locale may group digits; the wire has plain ones.
template <typename Number>
void readNumber(const std::string& field, Number& number) {
  std::istringstream stream(field);
  stream.imbue(std::locale::classic());
  stream >> std::dec >> number;
}

std::string listText(const std::vector<VelpMsgReqGetEventList::Event>& events) {
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
  std::istringstream fields(info);
  std::string field;
  for (unsigned int position = 0; std::getline(fields, field, ';'); ++position) {
    if (position == 0) readNumber(field, number);
    if (position == 1) text = field;
    if (position == 2) readNumber(field, code);
  }
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
  std::istringstream tokens(response.getString(textPosition, textLengthSize));
  std::string token;
  // QUIRK(17): appends to the events that are already there.
  while (std::getline(tokens, token, ' ')) {
    if (token.empty()) continue;
    Event event;
    event.setDataFromEventInfo(token);
    events.push_back(event);
  }
  return true;
}
