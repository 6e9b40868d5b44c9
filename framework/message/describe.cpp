// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Lines for people: what came from outside is escaped and never makes a line endless.
#include "message/describe.h"

#include <algorithm>

#include "velp/runtime/LogUtil.h"

namespace velp {
namespace {

constexpr std::size_t shownText = 256;
constexpr std::size_t shownBytes = 16;

void appendHex(std::string& line, unsigned char byte) {
  constexpr char digits[] = "0123456789abcdef";
  line += ' ';
  line += digits[byte >> 4];
  line += digits[byte & 0x0F];
}

std::string sizeOf(std::size_t size) {
  return std::to_string(size) + (size == 1 ? " byte" : " bytes");
}

/// escaped() leaves quotes alone; here they would end the value.
std::string escapedInQuotes(const std::string& text) {
  std::string result;
  for (const char character : escaped(text)) {
    if (character == '"') {
      result += "\\x22";
    } else {
      result += character;
    }
  }
  return result;
}

}  // namespace

std::string withDetails(std::string line, const std::string& details) {
  line.insert(line.size() - 1, details);
  return line;
}

std::string quoted(const std::string& text) {
  const std::string shown = '"' + escapedInQuotes(text.substr(0, shownText)) + '"';
  return text.size() <= shownText ? shown : shown + "... of " + sizeOf(text.size());
}

std::string hexStart(const std::vector<unsigned char>& bytes) {
  std::string line = sizeOf(bytes.size()) + (bytes.empty() ? "" : ":");
  const std::size_t shown = std::min(bytes.size(), shownBytes);
  for (std::size_t i = 0; i < shown; ++i) {
    appendHex(line, bytes[i]);
  }
  return bytes.size() > shown ? line + " ..." : line;
}

}  // namespace velp
