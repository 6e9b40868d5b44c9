// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Messages to bytes and back: one decoder for each class, chosen by the kind.
#include "velp/message/ByteForm.h"

#include <limits>
#include <stdexcept>

#include "message/ByteReader.h"
#include "velp/message/SystemMessage.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"

namespace velp {
namespace {

using Client = VelpClientMessageBase;
using Response = VelpClientMessageResponse;

struct BaseFields {
  std::uint64_t context;
  ByteView sourceChannel;
  ByteView route;
};

BaseFields readBase(ByteReader& reader) {
  BaseFields base;
  base.context = reader.readLongNumber("context");
  base.sourceChannel = reader.readBytes("sourceChannel");
  base.route = reader.readBytes("route");
  return base;
}

std::unique_ptr<MessageBase> readSystemMessage(ByteReader& reader) {
  const ByteView text = reader.readBytes("text");
  const std::uint32_t number = reader.readNumber("number");
  return reader.finish() ? std::make_unique<SystemMessage>(text.toString(), number) : nullptr;
}

std::unique_ptr<MessageBase> readRequest(ByteReader& reader) {
  const auto id = static_cast<Client::velpMsgID_t>(reader.readNumber("msgID"));
  const ByteView payload = reader.readBytes("payload");
  const ByteView text = reader.readBytes("text");
  if (!reader.finish()) {
    return nullptr;
  }
  auto request = std::make_unique<VelpClientMessageRequest>(
      id, payload.data, static_cast<unsigned int>(payload.size));
  request->setText(text.toString());
  return request;
}

/// No response has another base ID, so that other bytes are not the byte form of any.
void readUnsetID(ByteReader& reader) {
  const std::uint32_t id = reader.readNumber("msgID");
  if (id != Client::MSG_UNSET) {
    reader.fail("is a response with the base ID " + std::to_string(id) + " instead of 255");
  }
}

std::unique_ptr<MessageBase> readResponse(ByteReader& reader) {
  readUnsetID(reader);
  const ByteView payload = reader.readBytes("payload");
  const ByteView text = reader.readBytes("text");
  const std::uint8_t flag = reader.readByte("flag");
  const auto answeredID = static_cast<Client::velpMsgID_t>(reader.readNumber("answeredID"));
  const auto status = static_cast<Response::msgStatus_t>(reader.readNumber("status"));
  if (!reader.finish()) {
    return nullptr;
  }
  auto response = std::make_unique<Response>(answeredID, status);
  response->setFlag(flag);
  response->setPayload(payload.toVector());
  response->setText(text.toString());
  return response;
}

std::unique_ptr<MessageBase> readFields(msgid_t kind, ByteReader& reader) {
  switch (kind) {
    case systemMessageKind:
      return readSystemMessage(reader);
    case clientRequestKind:
      return readRequest(reader);
    case clientResponseKind:
      return readResponse(reader);
    default:
      reader.fail("is of the unknown kind " + std::to_string(kind));
      return nullptr;
  }
}

}  // namespace

std::vector<unsigned char> encodeMessage(const MessageBase& message) {
  const std::uint64_t size = message.byteSize(true);
  if (size > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("message of " + std::to_string(size) + " bytes has no byte form");
  }
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
  unsigned char* cursor = bytes.data();
  message.writeToByteArray(cursor, static_cast<unsigned int>(size), true);
  return bytes;
}

std::unique_ptr<MessageBase> decodeMessage(const unsigned char* data, std::size_t size,
                                           std::string& reason) {
  ByteReader reader(data, size);
  const msgid_t kind = reader.readNumber("kind");
  const BaseFields base = readBase(reader);
  std::unique_ptr<MessageBase> message = reader.hasFailed() ? nullptr : readFields(kind, reader);
  if (!message) {
    reason = "message of " + std::to_string(size) + " bytes " + reader.getReason();
    return nullptr;
  }
  message->setContext(base.context);
  message->setSourceChannel(base.sourceChannel.toString());
  message->setRoute(base.route.toVector());
  return message;
}

}  // namespace velp
