// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// String fields of payloads, and the check of a request's payload length.
#include "sender/SenderLog.h"
#include "sender/StringField.h"
#include "velp/runtime/MutexLocker.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

// Payload positions are 16-bit numbers: of a longer payload, what lies beyond the wrap is not seen.
unsigned short payloadLength(const VelpClientMessageBase& msg) {
  return static_cast<unsigned short>(msg.getPayload().size());
}

unsigned int readLength(const std::vector<unsigned char>& payload, std::size_t offset,
                        unsigned short lenSize) {
  const unsigned int first = payload[offset];
  return lenSize == 1 ? first : first * 256 + payload[offset + 1];
}

}  // namespace

void appendStringField(std::vector<unsigned char>& buf, unsigned short lenSize,
                       const std::string& text) {
  // QUIRK(8): the length wraps at the width of its prefix while all characters follow.
  if (lenSize == 2) buf.push_back(static_cast<unsigned char>(text.size() >> 8));
  buf.push_back(static_cast<unsigned char>(text.size()));
  buf.insert(buf.end(), text.begin(), text.end());
}

void VelpMsgSender::setString(std::vector<unsigned char>& buf, unsigned short lenSize,
                              const std::string& text) {
  MutexLocker locker(mutex);
  traceEntry("setString");
  appendStringField(buf, lenSize, text);
}

std::string VelpMsgSender::getString(const VelpClientMessageBase& msg, unsigned short offset,
                                     unsigned short lenSize) {
  const unsigned int end = payloadLength(msg);
  const unsigned int begin = offset + static_cast<unsigned int>(lenSize);
  if (end < begin) return {};
  if (lenSize != 1 && lenSize != 2) return {};
  if (begin + readLength(msg.getPayload(), offset, lenSize) > end) {
    LogUtil::error(senderTag, "getString", "can't extract string from msg",
                   static_cast<const MessageBase&>(msg));
    return {};
  }
  return msg.getString(offset, lenSize);
}

bool VelpMsgSender::checkRequestLengthTxErrResponse(const VelpClientMessageRequest& request,
                                                    unsigned short expected) {
  constexpr const char* function = "checkRequestLengthTxErrResponse";
  const unsigned short length = payloadLength(request);
  if (length == expected) return true;
  LogUtil::error(senderTag, function, request.getMsgID(), ": invalid length");
  // QUIRK(3): the text says 2, whatever was expected.
  const std::string text = "Invalid request length=" + std::to_string(length) + ". Must be=2";
  LogUtil::error(senderTag, function, text);
  sendResponseError(request.getText(), request.getMsgID(),
                    VelpClientMessageResponse::ERROR_WRONG_LENGTH, text);
  return false;
}
