// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Magic, version, length of the name, generation, name.
#include "bus/local/Hello.h"

#include <algorithm>
#include <array>

#include "bus/Transport.h"

namespace velp {

namespace {

constexpr std::array<unsigned char, 5> prefix{'V', 'E', 'L', 'P', localProtocolVersion};
constexpr std::size_t fixedSize = prefix.size() + 1 + 8;

}  // namespace

std::vector<unsigned char> encodeHello(const Hello& hello) {
  std::vector<unsigned char> bytes(prefix.begin(), prefix.end());
  bytes.push_back(static_cast<unsigned char>(hello.name.size()));
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<unsigned char>(hello.generation >> shift));
  }
  bytes.insert(bytes.end(), hello.name.begin(), hello.name.end());
  return bytes;
}

std::optional<Hello> decodeHello(const unsigned char* bytes, std::size_t size) {
  if (size < fixedSize || !std::equal(prefix.begin(), prefix.end(), bytes)) return {};
  if (bytes[prefix.size()] != size - fixedSize) return {};
  Hello hello;
  for (std::size_t i = prefix.size() + 1; i < fixedSize; ++i) {
    hello.generation = hello.generation << 8 | bytes[i];
  }
  hello.name.assign(bytes + fixedSize, bytes + size);
  if (!isParticipantName(hello.name)) return {};
  return hello;
}

}  // namespace velp
