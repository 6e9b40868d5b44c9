// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The part that all messages share.
#include "velp/message/MessageBase.h"

#include <ostream>

#include "message/byteWriter.h"
#include "message/describe.h"

MessageBase::MessageBase(msgid_t kind, unsigned long long context) : kind(kind), context(context) {}

MessageBase::~MessageBase() = default;

bool MessageBase::writeToByteArray(unsigned char*& cursor, unsigned int capacity,
                                   bool withBase) const {
  const std::uint64_t size = byteSize(withBase);
  if (size > capacity || size == 0) {
    return false;
  }
  if (withBase) {
    writeBase(cursor);
  }
  writeFields(cursor);
  return true;
}

std::uint64_t MessageBase::baseSize() const {
  return sizeof kind + sizeof context + velp::lengthWidth + sourceChannel.size() +
         velp::lengthWidth + route.size();
}

void MessageBase::writeBase(unsigned char*& cursor) const {
  velp::writeNumber(cursor, kind);
  velp::writeNumber(cursor, context);
  velp::writeBytes(cursor, sourceChannel);
  velp::writeBytes(cursor, route);
}

std::string MessageBase::toString() const {
  std::string line = std::string("{") + kindName();
  if (context != 0) {
    line += ", context " + std::to_string(context);
  }
  if (!sourceChannel.empty()) {
    line += ", channel " + velp::quoted(sourceChannel);
  }
  if (!route.empty()) {
    line += ", last channel " + std::to_string(getSourceChannelID());
  }
  return line + '}';
}

std::string MessageBase::getSourceChannel() const {
  return sourceChannel;
}

unsigned short MessageBase::getSourceChannelID() const {
  const std::size_t size = route.size();
  return size < 2 ? static_cast<unsigned short>(0)
                  : static_cast<unsigned short>(route[size - 2] << 8 | route[size - 1]);
}

void MessageBase::cascadeChannel(unsigned short channel) {
  route.push_back(static_cast<unsigned char>(channel >> 8));
  route.push_back(static_cast<unsigned char>(channel & 0xFF));
}

bool MessageBase::baseEquals(const MessageBase& other) const {
  return kind == other.kind && context == other.context && sourceChannel == other.sourceChannel &&
         route == other.route;
}

std::ostream& operator<<(std::ostream& os, const MessageBase& message) {
  return os << message.toString();
}
