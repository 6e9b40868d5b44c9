// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reading fields with every length checked against the bytes that are left.
#include "message/ByteReader.h"

namespace velp {

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

void ByteReader::failInside(const char* field) {
  fail(std::string("ends inside ") + field);
}

void ByteReader::fail(const std::string& why) {
  if (!hasFailed()) {
    reason = why;
  }
}

}  // namespace velp
