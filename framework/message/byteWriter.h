// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Writes the numbers and byte strings that the byte form of messages is made of.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velp {

/// Width in bytes of the length in front of strings and byte vectors.
constexpr std::uint64_t lengthWidth = 4;

/// Writes `value` big-endian at `cursor` and moves `cursor` behind it.
template <typename Unsigned>
void writeNumber(unsigned char*& cursor, Unsigned value) {
  for (int shift = 8 * (static_cast<int>(sizeof value) - 1); shift >= 0; shift -= 8) {
    *cursor++ = static_cast<unsigned char>((value >> shift) & 0xFF);
  }
}

/// Writes the length of `bytes` (a string or byte vector), which fits 32 bits, then the bytes.
template <typename Bytes>
void writeBytes(unsigned char*& cursor, const Bytes& bytes) {
  writeNumber(cursor, static_cast<std::uint32_t>(bytes.size()));
  cursor = std::transform(bytes.begin(), bytes.end(), cursor,
                          [](auto byte) { return static_cast<unsigned char>(byte); });
}

}  // namespace velp
