// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Makes text from outside harmless in a log.
#include "velp/runtime/LogUtil.h"

namespace {

bool isPlain(unsigned char byte) {
  return byte >= 0x20 && byte <= 0x7e && byte != '\\';
}

void appendHex(std::string& result, unsigned char byte) {
  const char* digits = "0123456789abcdef";
  result += "\\x";
  result += digits[byte >> 4];
  result += digits[byte & 0x0f];
}

}  // namespace

std::string velp::escaped(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (isPlain(byte)) {
      result += character;
    } else {
      appendHex(result, byte);
    }
  }
  return result;
}
