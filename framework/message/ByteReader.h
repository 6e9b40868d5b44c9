// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reads the fields of a byte form one after the other and never past its end.
#pragma once

#include <boost/endian/conversion.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velp {

/// Bytes that belong to somebody else.
struct ByteView {
  const unsigned char* data = nullptr;
  std::size_t size = 0;

  std::string toString() const { return std::string(reinterpret_cast<const char*>(data), size); }
  std::vector<unsigned char> toVector() const { return {data, data + size}; }
};

/// The first field that is not there fails the reader for good: fields read later are empty or 0,
/// so a decoder reads all of them and asks once.
class ByteReader {
 public:
  ByteReader(const unsigned char* data, std::size_t size) : rest{data, size} {}

  std::uint8_t readByte(const char* field) { return readBigEndian<std::uint8_t>(field); }
  std::uint32_t readNumber(const char* field) { return readBigEndian<std::uint32_t>(field); }
  std::uint64_t readLongNumber(const char* field) { return readBigEndian<std::uint64_t>(field); }
  /// A byte string with its length in front; points into the bytes being read.
  ByteView readBytes(const char* field);

  /// True when every field was there and nothing is left.
  bool finish();
  /// Fails the reader for a reason of the decoder's own, unless it has failed before.
  void fail(const std::string& why);

  bool hasFailed() const { return !reason.empty(); }
  const std::string& getReason() const { return reason; }

 private:
  ByteView take(std::size_t size) {
    const ByteView taken{rest.data, size};
    rest.data += size;
    rest.size -= size;
    return taken;
  }

  template <typename Unsigned>
  Unsigned readBigEndian(const char* field) {
    if (sizeof(Unsigned) > rest.size) failInside(field);
    if (hasFailed()) return 0;
    constexpr auto order = boost::endian::order::big;
    return boost::endian::endian_load<Unsigned, sizeof(Unsigned), order>(
        take(sizeof(Unsigned)).data);
  }

  void failInside(const char* field);

  ByteView rest;
  std::string reason;
};

}  // namespace velp
