// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Numbers in payloads: the most significant byte first.
#pragma once

#include <cstdint>

namespace velp {

/// Writes the lowest `width` bytes of `value`; the rest of it is lost. Returns where they end.
inline unsigned char* writeBigEndian(unsigned char* to, std::uint64_t value, unsigned int width) {
  for (unsigned int shift = 8 * width; shift > 0;) {
    shift -= 8;
    *to++ = static_cast<unsigned char>(value >> shift);
  }
  return to;
}

/// The number in the `width` bytes at `bytes`.
inline std::uint64_t readBigEndian(const unsigned char* bytes, unsigned int width) {
  std::uint64_t value = 0;
  for (unsigned int i = 0; i < width; ++i) value = value << 8 | bytes[i];
  return value;
}

}  // namespace velp
