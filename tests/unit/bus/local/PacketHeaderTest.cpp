// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The eight bytes before a frame, one by one.
#include "bus/local/PacketHeader.h"

#include <gtest/gtest.h>

#include "unit/bus/local/LocalFixture.h"

namespace velp::test {
namespace {

using Header = std::array<unsigned char, 8>;

constexpr Header goldenInline{0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03};
constexpr Header goldenLarge{0x01, 0x01, 0x00, 0x00, 0x01, 0x02, 0x03, 0x04};

std::optional<PacketHeader> decode(const Header& bytes) {
  return decodePacketHeader(bytes.data(), bytes.size());
}

TEST(PacketHeader, IsWrittenAsDocumented) {
  EXPECT_EQ(encodePacketHeader({false, 3}), goldenInline);
  EXPECT_EQ(encodePacketHeader({true, 0x01020304}), goldenLarge);
}

TEST(PacketHeader, IsReadAsDocumented) {
  const auto small = decode(goldenInline);
  ASSERT_TRUE(small);
  EXPECT_FALSE(small->large);
  EXPECT_EQ(small->length, 3u);
  const auto large = decode(goldenLarge);
  ASSERT_TRUE(large);
  EXPECT_TRUE(large->large);
  EXPECT_EQ(large->length, 0x01020304u);
}

TEST(PacketHeader, CarriesEveryLength) {
  for (const std::uint32_t length : {0u, 0xffu, 0xff00u, 0xff0000u, 0xff000000u, 0xffffffffu}) {
    const auto back = decode(encodePacketHeader({false, length}));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->length, length);
  }
}

TEST(PacketHeader, IsReadFromTheBeginningOfLongerPackets) {
  const Bytes packet{0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC};
  EXPECT_TRUE(decodePacketHeader(packet.data(), packet.size()));
}

TEST(PacketHeader, IsRefusedAtEveryTruncation) {
  for (std::size_t size = 0; size < goldenInline.size(); ++size) {
    // A copy of its own, so that a sanitizer sees a read behind its end.
    const Bytes part(goldenInline.begin(), goldenInline.begin() + size);
    EXPECT_FALSE(decodePacketHeader(part.data(), part.size())) << size;
  }
}

TEST(PacketHeader, IsRefusedWithAnyOtherVersionOrReservedBits) {
  for (const std::size_t place : {0u, 1u, 2u, 3u}) {
    for (unsigned int value = 0; value < 256; ++value) {
      Header bytes = goldenInline;
      bytes[place] = static_cast<unsigned char>(value);
      const bool isLargeFlag = place == 1 && value == 1;
      EXPECT_EQ(decode(bytes).has_value(), value == goldenInline[place] || isLargeFlag)
          << place << " " << value;
    }
  }
}

}  // namespace
}  // namespace velp::test
