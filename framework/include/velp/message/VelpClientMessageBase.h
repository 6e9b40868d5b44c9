// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What client requests and responses have in common.
#pragma once

#include <utility>

#include "velp/message/MessageBase.h"

/// A message of the client protocol: message ID, payload and text.
///
/// Threads, blocks, owns, fails: as MessageBase.
class VELP_FRAMEWORK_API VelpClientMessageBase : public MessageBase {
 public:
  /// Message ID of the client protocol. Services add values of their own by a cast.
  enum velpMsgID_t : std::uint32_t {
    MSG_REMOVE_DATA = 3,
    MSG_GET_EVENT_LIST = 50,
    MSG_UNSET = 255,  ///< the base ID of responses: the request's ID is their answered ID
  };

  velpMsgID_t getMsgID() const { return msgID; }
  const std::vector<unsigned char>& getPayload() const { return payload; }
  /// Free text. In a received request or response: the bus name of its sender, once a
  /// VelpMsgHandler has queued it; "NotSet" before.
  const std::string& getText() const { return text; }
  void setPayload(std::vector<unsigned char> bytes) { payload = std::move(bytes); }
  void setText(std::string value) { text = std::move(value); }

  /// The string field at byte `position` of the payload, whose big-endian length prefix is
  /// `lengthSize` (1 or 2) bytes wide. Empty when the payload does not hold the whole field or the
  /// width is another.
  std::string getString(unsigned short position, unsigned short lengthSize) const;

  std::uint64_t byteSize(bool withBase) const override = 0;
  void writeFields(unsigned char*& cursor) const override = 0;
  std::string toString() const override;

 protected:
  VelpClientMessageBase(msgid_t kind, velpMsgID_t id);
  VelpClientMessageBase(const VelpClientMessageBase&) = default;
  VelpClientMessageBase& operator=(const VelpClientMessageBase&) = default;
  bool clientEquals(const VelpClientMessageBase& other) const;
  std::uint64_t clientFieldsSize() const;
  void writeClientFields(unsigned char*& cursor) const;

 private:
  velpMsgID_t msgID;
  std::vector<unsigned char> payload;
  std::string text;
};

/// Writes "removeData", "getEventList" or "unset" with the number in brackets, such as
/// "getEventList(50)"; any other value through printUnknownEnum().
VELP_FRAMEWORK_API std::ostream& operator<<(std::ostream& os,
                                            VelpClientMessageBase::velpMsgID_t id);
