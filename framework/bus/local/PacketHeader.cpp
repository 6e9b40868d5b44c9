// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The eight bytes before a frame.
#include "bus/local/PacketHeader.h"

#include "bus/local/Hello.h"

namespace velp {

namespace {

constexpr unsigned char largeFlag = 1;

}  // namespace

std::array<unsigned char, PacketHeader::size> encodePacketHeader(const PacketHeader& header) {
  return {localProtocolVersion,
          header.large ? largeFlag : static_cast<unsigned char>(0),
          0,
          0,
          static_cast<unsigned char>(header.length >> 24),
          static_cast<unsigned char>(header.length >> 16),
          static_cast<unsigned char>(header.length >> 8),
          static_cast<unsigned char>(header.length)};
}

std::optional<PacketHeader> decodePacketHeader(const unsigned char* bytes, std::size_t size) {
  if (size < PacketHeader::size || bytes[0] != localProtocolVersion) return {};
  if (bytes[1] > largeFlag || bytes[2] != 0 || bytes[3] != 0) return {};
  PacketHeader header;
  header.large = bytes[1] == largeFlag;
  for (std::size_t i = 4; i < PacketHeader::size; ++i)
    header.length = header.length << 8 | bytes[i];
  return header;
}

}  // namespace velp
