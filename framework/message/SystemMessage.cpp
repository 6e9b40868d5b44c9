// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A text and a number for the fault management.
#include "velp/message/SystemMessage.h"

#include <ostream>

#include "message/byteWriter.h"
#include "message/describe.h"

SystemMessage::SystemMessage(std::string text, std::uint32_t number)
    : MessageBase(velp::systemMessageKind, 0), text(std::move(text)), number(number) {}

MessageBase* SystemMessage::clone() const {
  return new SystemMessage(*this);
}

std::uint64_t SystemMessage::byteSize(bool withBase) const {
  return (withBase ? baseSize() : 0) + velp::lengthWidth + text.size() + sizeof number;
}

void SystemMessage::writeFields(unsigned char*& cursor) const {
  velp::writeBytes(cursor, text);
  velp::writeNumber(cursor, number);
}

const char* SystemMessage::kindName() const {
  return "system message";
}

std::string SystemMessage::toString() const {
  return velp::withDetails(MessageBase::toString(),
                           ", number " + std::to_string(number) + ", text " + velp::quoted(text));
}

bool operator==(const SystemMessage& a, const SystemMessage& b) {
  return a.baseEquals(b) && a.text == b.text && a.number == b.number;
}

std::ostream& operator<<(std::ostream& os, const SystemMessage& message) {
  return os << message.toString();
}
