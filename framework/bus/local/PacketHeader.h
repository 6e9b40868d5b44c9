// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What stands in front of every frame on a local connection.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace velp {

/// Version, flags, two zero bytes, and the frame's length; see docs/wire-format-local.md.
struct PacketHeader {
  static constexpr std::size_t size = 8;

  bool large = false;  ///< the frame is in the file descriptor beside, not in the packet
  std::uint32_t length = 0;
};

/// Frames up to this size travel in the packet itself; it is faster than a sealed memory file. Room
/// for 64 KiB of payload and what else a message has.
constexpr std::size_t maxInlineFrame = 68u * 1024;

std::array<unsigned char, PacketHeader::size> encodePacketHeader(const PacketHeader& header);
/// Empty unless the bytes begin with a header of this version with known flags only.
std::optional<PacketHeader> decodePacketHeader(const unsigned char* bytes, std::size_t size);

}  // namespace velp
