// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The answer to a client request, or news of its progress.
#pragma once

#include "velp/message/VelpClientMessageBase.h"

/// Answers one request: OK, progress or error, told by its status.
///
/// The request's ID is the answered ID; the base message ID of a response is MSG_UNSET.
///
/// Threads, blocks, owns, fails: as MessageBase.
class VELP_FRAMEWORK_API VelpClientMessageResponse : public VelpClientMessageBase {
 public:
  enum msgStatus_t : std::uint32_t {
    STATUS_OK = 0,
    STATUS_PROGRESS = 1,
    STATUS_ERROR = 2,
  };
  enum errorCode_t : std::uint32_t {
    ERROR_NONE = 0,
    ERROR_NOT_AVAILABLE = 1,
    ERROR_WRONG_LENGTH = 2,
    ERROR_BUSY = 7,
  };

  /// An empty response to be filled by a receiver: answered ID MSG_UNSET, status OK, flag 0.
  VelpClientMessageResponse();
  VelpClientMessageResponse(velpMsgID_t answeredID, msgStatus_t status);

  velpMsgID_t getAnsweredID() const { return answeredID; }
  msgStatus_t getStatus() const { return status; }
  /// 1 in an OK response built from a byte vector or a text, else 0. Carried, never interpreted.
  unsigned char getFlag() const { return flag; }
  void setFlag(unsigned char value) { flag = value; }

  /// Makes the payload an error record: `code` as four bytes, big-endian, then the `length` bytes
  /// at `data` (none when null).
  void setErrorInfo(errorCode_t code, const unsigned char* data, unsigned int length);
  /// Makes the payload a progress record: `progress` (percent) as one byte, then the `length` bytes
  /// at `data` (none when null).
  void setProgressInfo(unsigned char progress, const unsigned char* data, unsigned int length);

  /// The code of an error record; ERROR_NONE when the payload is too short or the status is not
  /// STATUS_ERROR.
  errorCode_t getErrorCode() const;
  /// The text of an error record that carries one as a string field with a one-byte length, else
  /// empty.
  std::string getErrorText() const;
  /// The percent value of a progress record; 0 when the payload is empty or the status is not
  /// STATUS_PROGRESS.
  unsigned char getProgress() const;
  /// The step text of a progress record that carries one, else empty.
  std::string getProgressText() const;

  MessageBase* clone() const override;
  std::uint64_t byteSize(bool withBase) const override;
  void writeFields(unsigned char*& cursor) const override;
  const char* kindName() const override;
  std::string toString() const override;

  VELP_FRAMEWORK_API friend bool operator==(const VelpClientMessageResponse& a,
                                            const VelpClientMessageResponse& b);

 private:
  unsigned char flag = 0;
  velpMsgID_t answeredID = MSG_UNSET;
  msgStatus_t status = STATUS_OK;
};

/// Writes "OK", "PROGRESS" or "ERROR"; any other value through printUnknownEnum().
VELP_FRAMEWORK_API std::ostream& operator<<(std::ostream& os,
                                            VelpClientMessageResponse::msgStatus_t status);
/// Writes toString().
VELP_FRAMEWORK_API std::ostream& operator<<(std::ostream& os,
                                            const VelpClientMessageResponse& response);
