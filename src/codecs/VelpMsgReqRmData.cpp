// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The remove-data request: a mode and, in most modes, spans.
#include "velpmsg/VelpMsgReqRmData.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "codecs/bigEndian.h"
#include "velp/runtime/LogUtil.h"

namespace {

using span_t = VelpMsgReqRmData::span_t;
using Payload = std::vector<unsigned char>;

constexpr unsigned int everything = 0;  // the mode
constexpr unsigned int numbersType = 0;
constexpr unsigned int textType = 1;

constexpr unsigned int modeSize = 1;
constexpr unsigned int countSize = 2;
constexpr unsigned int typeSize = 1;
constexpr unsigned int numberSize = 8;
constexpr unsigned int textLengthSize = 1;

// QUIRK(30): the decoder reads spans in every mode but 0, the encoder writes them in these two.
bool writesSpans(std::uint32_t mode) {
  return mode == 1 || mode == 2;
}

void logRemovalOfAll() {
  // QUIRK(34): the line bears the handler's class tag, and no trace level gates it.
  LogUtil::info("VelH", "getRequest", "request: mode=all");
}

unsigned char* writeText(unsigned char* to, const std::string& text) {
  // QUIRK(36): the length wraps at one byte, while all characters are written.
  to = velp::writeBigEndian(to, text.size(), textLengthSize);
  return std::copy(text.begin(), text.end(), to);
}

unsigned char* writeSpan(unsigned char* to, const span_t& span) {
  // QUIRK(37): types, as modes, are compared whole, while their low byte is written.
  *to++ = static_cast<unsigned char>(span.type);
  if (span.type == textType) return writeText(to, span.text);
  if (span.type != numbersType) return to;
  to = velp::writeBigEndian(to, span.from, numberSize);
  return velp::writeBigEndian(to, span.to, numberSize);
}

std::size_t bytesNeeded(const span_t& span) {
  if (span.type == numbersType) return typeSize + 2 * numberSize;
  if (span.type == textType) return typeSize + textLengthSize + span.text.size();
  return typeSize;
}

std::size_t bytesNeeded(const std::vector<span_t>& spans) {
  std::size_t size = 0;
  for (const span_t& span : spans) size += bytesNeeded(span);
  return size;
}

// Reads one record into `span` and returns where the next one begins.
const unsigned char* readSpan(const unsigned char* record, span_t& span) {
  span.type = *record;
  const unsigned char* const fields = record + typeSize;
  if (span.type == numbersType) {
    span.from = velp::readBigEndian(fields, numberSize);
    span.to = velp::readBigEndian(fields + numberSize, numberSize);
    return fields + 2 * numberSize;
  }
  if (span.type == textType) {
    const unsigned char* const text = fields + textLengthSize;
    span.text.assign(text, text + *fields);
    return text + *fields;
  }
  return fields;
}

// The size that the record announces, or 0 when the `rest` bytes at it do not hold that much.
std::size_t wholeRecordSize(const unsigned char* record, std::size_t rest) {
  if (rest < typeSize) return 0;
  std::size_t size = typeSize;
  if (*record == numbersType) size += 2 * numberSize;
  if (*record == textType) {
    if (rest < typeSize + textLengthSize) return 0;
    size += textLengthSize + record[typeSize];
  }
  return size <= rest ? size : 0;
}

bool holdsAllItAnnounces(const unsigned char* data, std::size_t size) {
  if (data == nullptr || size < modeSize) return false;
  if (*data == everything) return true;
  std::size_t position = modeSize + countSize;
  if (size < position) return false;
  for (auto left = velp::readBigEndian(data + modeSize, countSize); left > 0; --left) {
    const std::size_t recordSize = wholeRecordSize(data + position, size - position);
    if (recordSize == 0) return false;
    position += recordSize;
  }
  return true;
}

}  // namespace

bool VelpMsgReqRmData::setData(const unsigned char* data, std::size_t size) {
  return holdsAllItAnnounces(data, size) && setData(data);
}

bool VelpMsgReqRmData::setData(const unsigned char* data) {
  if (data == nullptr) return false;
  count = 0;
  mode = *data;
  const unsigned char* record = data + modeSize;
  // QUIRK(30): spans are read in every mode but 0, while the encoder writes them in modes 1 and 2.
  if (mode != everything) {
    count = static_cast<std::uint16_t>(velp::readBigEndian(record, countSize));
    record += countSize;
  }
  spans.clear();
  spans.reserve(count);
  // QUIRK(31): one span for all records, so that each keeps what its own type does not set.
  span_t span;
  // QUIRK(32): nothing here tells where the payload ends; what it announces is read.
  for (unsigned int i = 0; i < count; ++i) {
    record = readSpan(record, span);
    spans.push_back(span);
  }
  nextSpan = 0;
  return true;
}

std::string VelpMsgReqRmData::getString(const unsigned char* data, std::uint16_t offset) {
  const unsigned char* const length = data + offset;
  const unsigned char* const text = length + textLengthSize;
  return std::string(text, text + *length);
}

VelpClientMessageRequest VelpMsgReqRmData::getRequest() const {
  if (mode == everything) logRemovalOfAll();
  const bool selective = writesSpans(mode);
  Payload payload(modeSize + (selective ? countSize + bytesNeeded(spans) : 0));
  unsigned char* next = payload.data();
  *next++ = static_cast<unsigned char>(mode);
  if (selective) {
    // QUIRK(35): the member is written as it stands, however many spans there are.
    next = velp::writeBigEndian(next, count, countSize);
    for (const span_t& span : spans) next = writeSpan(next, span);
  }
  VelpClientMessageRequest request(VelpClientMessageBase::MSG_REMOVE_DATA, nullptr, 0);
  request.setPayload(std::move(payload));
  return request;
}

bool VelpMsgReqRmData::getNextSpan(span_t& out) {
  if (nextSpan >= spans.size()) return false;
  out = spans[nextSpan];
  ++nextSpan;
  return true;
}

unsigned int VelpMsgReqRmData::getDataBytesNeeded() const {
  if (!writesSpans(mode)) return modeSize;
  std::size_t size = modeSize + countSize;
  // QUIRK(33): the index has 8 bits, so that 256 spans or more are never through. It is volatile as
  // compilers may take a loop without side effects for one that ends.
  for (volatile std::uint8_t index = 0; index < spans.size();
       index = static_cast<std::uint8_t>(index + 1)) {
    size += bytesNeeded(spans[index]);
  }
  return static_cast<unsigned int>(size);
}
