// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A client request.
#pragma once

#include "velp/message/VelpClientMessageBase.h"

/// Asks a service for something, by message ID.
///
/// Threads, blocks, owns, fails: as MessageBase.
class VELP_FRAMEWORK_API VelpClientMessageRequest : public VelpClientMessageBase {
 public:
  /// The payload is a copy of the `length` bytes at `data`; empty when `data` is null.
  VelpClientMessageRequest(velpMsgID_t id, const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  std::uint64_t byteSize(bool withBase) const override;
  void writeFields(unsigned char*& cursor) const override;
  const char* kindName() const override;

  VELP_FRAMEWORK_API friend bool operator==(const VelpClientMessageRequest& a,
                                            const VelpClientMessageRequest& b);
};
