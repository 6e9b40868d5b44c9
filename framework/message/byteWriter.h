// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Writes the numbers and byte strings that the byte form of messages is made of.
#pragma once

#include <boost/endian/conversion.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace velp {

/// Width in bytes of the length in front of strings and byte vectors.
constexpr std::uint64_t lengthWidth = 4;

/// Writes `value` big-endian at `cursor` and moves `cursor` behind it.
template <typename Unsigned>
void writeNumber(unsigned char*& cursor, Unsigned value) {
  boost::endian::endian_store<Unsigned, sizeof value, boost::endian::order::big>(cursor, value);
  cursor += sizeof value;
}

/// Writes the length of `bytes` (a string or byte vector), which fits 32 bits, then the bytes.
template <typename Bytes>
void writeBytes(unsigned char*& cursor, const Bytes& bytes) {
  writeNumber(cursor, static_cast<std::uint32_t>(bytes.size()));
  if (bytes.empty()) return;
  std::memcpy(cursor, bytes.data(), bytes.size());
  cursor += bytes.size();
}

}  // namespace velp
