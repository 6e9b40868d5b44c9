// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reading fields: big-endian, in order, and never past the end.
#include "message/ByteReader.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(ByteReader, ReadsFieldsInOrder) {
  const Bytes bytes{1, 0, 0, 1, 2, 0, 0, 0, 0, 0, 0, 3, 4, 0, 0, 0, 2, 'a', 'b'};
  velp::ByteReader sut(bytes.data(), bytes.size());

  EXPECT_EQ(sut.readByte("flag"), 1);
  EXPECT_EQ(sut.readNumber("number"), 0x0102u);
  EXPECT_EQ(sut.readLongNumber("long"), 0x0304u);
  EXPECT_EQ(sut.readBytes("text").toString(), "ab");
  EXPECT_TRUE(sut.finish());
  EXPECT_EQ(sut.getReason(), "");
}

TEST(ByteReader, KeepsTheFirstReasonAndGivesNothingMore) {
  const Bytes bytes{0, 0, 0, 9, 1, 2};
  velp::ByteReader sut(bytes.data(), bytes.size());

  EXPECT_EQ(sut.readBytes("text").size, 0u);
  EXPECT_EQ(sut.readByte("flag"), 0);
  sut.fail("another");

  EXPECT_FALSE(sut.finish());
  EXPECT_EQ(sut.getReason(), "text announces 9 bytes, but 2 are left");
}

TEST(ByteReader, TellsTheFieldThatTheBytesEndIn) {
  const Bytes bytes{0, 0, 0};
  velp::ByteReader sut(bytes.data(), bytes.size());

  EXPECT_EQ(sut.readNumber("number"), 0u);

  EXPECT_EQ(sut.getReason(), "ends inside number");
}

TEST(ByteReader, RefusesBytesThatAreLeft) {
  const Bytes bytes{1, 2, 3};
  velp::ByteReader sut(bytes.data(), bytes.size());

  sut.readByte("flag");

  EXPECT_FALSE(sut.finish());
  EXPECT_EQ(sut.getReason(), "goes on for 2 bytes after its last field");
}

}  // namespace
