// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reading fields with every length checked against the bytes that are left.
#include "message/ByteReader.h"

namespace velp {

ByteView ByteReader::take(std::size_t size) {
  const ByteView taken{rest.data, size};
  rest.data += size;
  rest.size -= size;
  return taken;
}

std::uint64_t ByteReader::readBigEndian(std::size_t width, const char* field) {
  if (width > rest.size) {
    fail(std::string("ends inside ") + field);
  }
  if (hasFailed()) {
    return 0;
  }
  const ByteView digits = take(width);
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value = value << 8 | digits.data[i];
  }
  return value;
}

std::uint8_t ByteReader::readByte(const char* field) {
  return static_cast<std::uint8_t>(readBigEndian(1, field));
}

std::uint32_t ByteReader::readNumber(const char* field) {
  return static_cast<std::uint32_t>(readBigEndian(4, field));
}

std::uint64_t ByteReader::readLongNumber(const char* field) {
  return readBigEndian(8, field);
}

ByteView ByteReader::readBytes(const char* field) {
  const std::uint32_t length = readNumber(field);
  if (length > rest.size) {
    fail(std::string(field) + " announces " + std::to_string(length) + " bytes, but " +
         std::to_string(rest.size) + " are left");
  }
  return hasFailed() ? ByteView() : take(length);
}

bool ByteReader::finish() {
  if (rest.size != 0) {
    fail("goes on for " + std::to_string(rest.size) + " bytes after its last field");
  }
  return !hasFailed();
}

void ByteReader::fail(const std::string& why) {
  if (!hasFailed()) {
    reason = why;
  }
}

}  // namespace velp
