// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The payloads of the note service's own requests.
#include "notes.h"

#include <vector>

#include "velpmsg/VelpMsgSender.h"

// [snippet add-request]
VelpClientMessageRequest addRequest(const std::string& text) {
  VelpClientMessageRequest request(MSG_ADD_NOTE, nullptr, 0);
  std::vector<unsigned char> payload;
  VelpMsgSender::getInstance()->setString(payload, 2, text);
  request.setPayload(payload);
  return request;
}
// [snippet]

VelpClientMessageRequest getRequest(std::uint32_t number) {
  const unsigned char bytes[] = {
      static_cast<unsigned char>(number >> 24), static_cast<unsigned char>(number >> 16),
      static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
  return {MSG_GET_NOTE, bytes, sizeof bytes};
}

std::uint32_t numberIn(const VelpClientMessageRequest& request) {
  std::uint32_t number = 0;
  for (const unsigned char byte : request.getPayload()) number = number << 8 | byte;
  return number;
}
