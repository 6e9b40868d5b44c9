// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The first packet of a connection, byte by byte.
#include "bus/local/Hello.h"

#include <gtest/gtest.h>

#include "unit/bus/local/LocalFixture.h"

namespace velp::test {
namespace {

// The example of docs/wire-format-local.md.
const Bytes golden{0x56, 0x45, 0x4C, 0x50, 0x01, 0x02, 0x01, 0x02,
                   0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x41, 0x62};
constexpr std::uint64_t goldenGeneration = 0x0102030405060708;
constexpr std::size_t lengthPlace = 5;
constexpr std::size_t namePlace = 14;

std::optional<Hello> decode(const Bytes& bytes) {
  return decodeHello(bytes.data(), bytes.size());
}

TEST(Hello, IsWrittenAsDocumented) {
  EXPECT_EQ(encodeHello(Hello{"Ab", goldenGeneration}), golden);
}

TEST(Hello, IsReadAsDocumented) {
  const auto hello = decode(golden);
  ASSERT_TRUE(hello);
  EXPECT_EQ(hello->name, "Ab");
  EXPECT_EQ(hello->generation, goldenGeneration);
}

TEST(Hello, ComesBackAsItWasForEveryLengthOfName) {
  for (std::size_t length = 1; length <= 48; ++length) {
    const Hello hello{std::string(length, 'n'), ~std::uint64_t{0} - length};
    const auto back = decode(encodeHello(hello));
    ASSERT_TRUE(back) << length;
    EXPECT_EQ(back->name, hello.name);
    EXPECT_EQ(back->generation, hello.generation);
  }
}

TEST(Hello, IsRefusedAtEveryTruncation) {
  for (std::size_t size = 0; size < golden.size(); ++size) {
    // A copy of its own, so that a sanitizer sees a read behind its end.
    const Bytes part(golden.begin(), golden.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(decode(part)) << size;
  }
}

TEST(Hello, IsRefusedWithTrailingBytes) {
  Bytes bytes = golden;
  for (int surplus = 1; surplus <= 64; ++surplus) {
    bytes.push_back('x');
    EXPECT_FALSE(decode(bytes)) << surplus;
  }
}

TEST(Hello, IsRefusedWithAnyOtherMagicOrVersion) {
  for (std::size_t place = 0; place < lengthPlace; ++place) {
    for (unsigned int value = 0; value < 256; ++value) {
      Bytes bytes = golden;
      bytes[place] = static_cast<unsigned char>(value);
      EXPECT_EQ(decode(bytes).has_value(), value == golden[place]) << place << " " << value;
    }
  }
}

TEST(Hello, IsRefusedWithAnyOtherLength) {
  for (unsigned int value = 0; value < 256; ++value) {
    Bytes bytes = golden;
    bytes[lengthPlace] = static_cast<unsigned char>(value);
    EXPECT_EQ(decode(bytes).has_value(), value == 2) << value;
  }
}

TEST(Hello, IsRefusedWithoutAName) {
  Bytes bytes(golden.begin(), golden.begin() + namePlace);
  bytes[lengthPlace] = 0;
  EXPECT_FALSE(decode(bytes));
}

TEST(Hello, IsRefusedWithATooLongName) {
  EXPECT_FALSE(decode(encodeHello(Hello{std::string(49, 'n'), 1})));
  EXPECT_FALSE(decode(encodeHello(Hello{std::string(255, 'n'), 1})));
}

TEST(Hello, IsRefusedWithAnyCharacterThatNoNameHas) {
  const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  for (unsigned int value = 0; value < 256; ++value) {
    Bytes bytes = golden;
    bytes[namePlace] = static_cast<unsigned char>(value);
    const bool expected = allowed.find(static_cast<char>(value)) != std::string::npos;
    EXPECT_EQ(decode(bytes).has_value(), expected) << value;
  }
}

}  // namespace
}  // namespace velp::test
