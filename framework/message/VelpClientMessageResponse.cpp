// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Responses, and the records that error and progress responses carry as their payload.
#include "velp/message/VelpClientMessageResponse.h"

#include <sstream>

#include "message/ByteReader.h"
#include "message/byteWriter.h"
#include "message/describe.h"
#include "velp/runtime/printUnknownEnum.h"

namespace {

constexpr unsigned short errorCodeWidth = 4;
constexpr unsigned short progressWidth = 1;

/// `number` big-endian, then the `length` bytes at `data` unless it is null.
template <typename Unsigned>
std::vector<unsigned char> makeRecord(Unsigned number, const unsigned char* data,
                                      unsigned int length) {
  std::vector<unsigned char> record(sizeof number);
  unsigned char* cursor = record.data();
  velp::writeNumber(cursor, number);
  if (data != nullptr) {
    record.insert(record.end(), data, data + length);
  }
  return record;
}

}  // namespace

VelpClientMessageResponse::VelpClientMessageResponse()
    : VelpClientMessageBase(velp::clientResponseKind, MSG_UNSET) {}

VelpClientMessageResponse::VelpClientMessageResponse(velpMsgID_t answeredID, msgStatus_t status)
    : VelpClientMessageBase(velp::clientResponseKind, MSG_UNSET),
      answeredID(answeredID),
      status(status) {}

void VelpClientMessageResponse::setErrorInfo(errorCode_t code, const unsigned char* data,
                                             unsigned int length) {
  setPayload(makeRecord(static_cast<std::uint32_t>(code), data, length));
}

void VelpClientMessageResponse::setProgressInfo(unsigned char progress, const unsigned char* data,
                                                unsigned int length) {
  setPayload(makeRecord(progress, data, length));
}

VelpClientMessageResponse::errorCode_t VelpClientMessageResponse::getErrorCode() const {
  const bool hasCode = status == STATUS_ERROR && getPayload().size() >= errorCodeWidth;
  if (!hasCode) {
    return ERROR_NONE;
  }
  velp::ByteReader reader(getPayload().data(), errorCodeWidth);
  // Nameless: all of it is there.
  return static_cast<errorCode_t>(reader.readNumber(""));
}

std::string VelpClientMessageResponse::getErrorText() const {
  return status == STATUS_ERROR ? getString(errorCodeWidth, 1) : std::string();
}

unsigned char VelpClientMessageResponse::getProgress() const {
  const bool hasProgress = status == STATUS_PROGRESS && !getPayload().empty();
  return hasProgress ? getPayload().front() : static_cast<unsigned char>(0);
}

std::string VelpClientMessageResponse::getProgressText() const {
  return status == STATUS_PROGRESS ? getString(progressWidth, 1) : std::string();
}

MessageBase* VelpClientMessageResponse::clone() const {
  return new VelpClientMessageResponse(*this);
}

std::uint64_t VelpClientMessageResponse::byteSize(bool withBase) const {
  return (withBase ? baseSize() : 0) + clientFieldsSize() + sizeof flag + sizeof answeredID +
         sizeof status;
}

void VelpClientMessageResponse::writeFields(unsigned char*& cursor) const {
  writeClientFields(cursor);
  velp::writeNumber(cursor, flag);
  velp::writeNumber(cursor, static_cast<std::uint32_t>(answeredID));
  velp::writeNumber(cursor, static_cast<std::uint32_t>(status));
}

const char* VelpClientMessageResponse::kindName() const {
  return "response";
}

std::string VelpClientMessageResponse::toString() const {
  std::ostringstream details;
  details << ", answers " << answeredID << ", status " << status << ", flag " << int{flag};
  return velp::withDetails(VelpClientMessageBase::toString(), details.str());
}

bool operator==(const VelpClientMessageResponse& a, const VelpClientMessageResponse& b) {
  return a.clientEquals(b) && a.flag == b.flag && a.answeredID == b.answeredID &&
         a.status == b.status;
}

std::ostream& operator<<(std::ostream& os, VelpClientMessageResponse::msgStatus_t status) {
  switch (status) {
    case VelpClientMessageResponse::STATUS_OK:
      return os << "OK";
    case VelpClientMessageResponse::STATUS_PROGRESS:
      return os << "PROGRESS";
    case VelpClientMessageResponse::STATUS_ERROR:
      return os << "ERROR";
  }
  printUnknownEnum(os, static_cast<int>(status));
  return os;
}

std::ostream& operator<<(std::ostream& os, const VelpClientMessageResponse& response) {
  return os << response.toString();
}
