// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Lines for people: escaped, cut and counted.
#include "message/describe.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(Quoted, EscapesWhatWouldForgeALine) {
  EXPECT_EQ(velp::quoted("a\nb\\\"c"), "\"a\\x0ab\\x5c\\x22c\"");
}

TEST(Quoted, ShowsUpTo256BytesAndTellsTheSizeOfMore) {
  const std::string shown = '"' + std::string(256, 'x') + '"';

  EXPECT_EQ(velp::quoted(std::string(256, 'x')), shown);
  EXPECT_EQ(velp::quoted(std::string(257, 'x')), shown + "... of 257 bytes");
}

TEST(HexStart, ShowsUpTo16BytesAndTellsTheSize) {
  EXPECT_EQ(velp::hexStart({}), "0 bytes");
  EXPECT_EQ(velp::hexStart({0x0F}), "1 byte: 0f");
  EXPECT_EQ(velp::hexStart(Bytes(16, 0xA0)),
            "16 bytes: a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0");
  EXPECT_EQ(velp::hexStart(Bytes(1000, 0)),
            "1000 bytes: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ...");
}

TEST(WithDetails, PutsThemInFrontOfTheBrace) {
  EXPECT_EQ(velp::withDetails("{request}", ", more"), "{request, more}");
}

}  // namespace
