// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A client request adds nothing to what client messages have in common.
#include "velp/message/VelpClientMessageRequest.h"

VelpClientMessageRequest::VelpClientMessageRequest(velpMsgID_t id, const unsigned char* data,
                                                   unsigned int length)
    : VelpClientMessageBase(velp::clientRequestKind, id) {
  if (data != nullptr) {
    setPayload({data, data + length});
  }
}

MessageBase* VelpClientMessageRequest::clone() const {
  return new VelpClientMessageRequest(*this);
}

std::uint64_t VelpClientMessageRequest::byteSize(bool withBase) const {
  return (withBase ? baseSize() : 0) + clientFieldsSize();
}

void VelpClientMessageRequest::writeFields(unsigned char*& cursor) const {
  writeClientFields(cursor);
}

const char* VelpClientMessageRequest::kindName() const {
  return "request";
}

bool operator==(const VelpClientMessageRequest& a, const VelpClientMessageRequest& b) {
  return a.clientEquals(b);
}
