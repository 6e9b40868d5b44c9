// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Message ID, payload and text, and the string fields inside the payload.
#include "velp/message/VelpClientMessageBase.h"

#include <sstream>

#include "message/byteWriter.h"
#include "message/describe.h"
#include "velp/runtime/printUnknownEnum.h"

VelpClientMessageBase::VelpClientMessageBase(msgid_t kind, velpMsgID_t id)
    : MessageBase(kind, 0), msgID(id), text("NotSet") {}

std::string VelpClientMessageBase::getString(unsigned short position,
                                             unsigned short lengthSize) const {
  const bool knownWidth = lengthSize == 1 || lengthSize == 2;
  if (!knownWidth || position > payload.size() || lengthSize > payload.size() - position) {
    return std::string();
  }
  const auto prefix = payload.begin() + position;
  const auto characters = prefix + lengthSize;
  const int length = lengthSize == 1 ? prefix[0] : prefix[0] << 8 | prefix[1];
  const bool isComplete = length <= payload.end() - characters;
  return isComplete ? std::string(characters, characters + length) : std::string();
}

std::string VelpClientMessageBase::toString() const {
  std::ostringstream details;
  details << ", id " << msgID << ", text " << velp::quoted(text) << ", payload "
          << velp::hexStart(payload);
  return velp::withDetails(MessageBase::toString(), details.str());
}

bool VelpClientMessageBase::clientEquals(const VelpClientMessageBase& other) const {
  return baseEquals(other) && msgID == other.msgID && payload == other.payload &&
         text == other.text;
}

std::uint64_t VelpClientMessageBase::clientFieldsSize() const {
  return sizeof msgID + velp::lengthWidth + payload.size() + velp::lengthWidth + text.size();
}

void VelpClientMessageBase::writeClientFields(unsigned char*& cursor) const {
  velp::writeNumber(cursor, static_cast<std::uint32_t>(msgID));
  velp::writeBytes(cursor, payload);
  velp::writeBytes(cursor, text);
}

std::ostream& operator<<(std::ostream& os, VelpClientMessageBase::velpMsgID_t id) {
  switch (id) {
    case VelpClientMessageBase::MSG_REMOVE_DATA:
      return os << "removeData(3)";
    case VelpClientMessageBase::MSG_GET_EVENT_LIST:
      return os << "getEventList(50)";
    case VelpClientMessageBase::MSG_UNSET:
      return os << "unset(255)";
  }
  printUnknownEnum(os, static_cast<int>(id));
  return os;
}
