// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What decodeMessage refuses: everything that is not exactly the byte form of a message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/message/samples.h"

namespace {

using ::testing::HasSubstr;
using velp::samples::Bytes;
using velp::samples::Sample;

/// Decodes a copy that ends where its allocation ends, so that a sanitizer sees each read too far.
std::unique_ptr<MessageBase> decode(const Bytes& bytes, std::string& reason) {
  const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  return velp::decodeMessage(exact.get(), bytes.size(), reason);
}

std::string refusal(const Bytes& bytes) {
  std::string reason;
  EXPECT_FALSE(decode(bytes, reason));
  return reason;
}

/// Refuses with a reason, or gives the message with these bytes and no other.
void expectCanonical(const Bytes& bytes) {
  std::string reason;
  const auto message = decode(bytes, reason);
  if (message) {
    ASSERT_EQ(velp::encodeMessage(*message), bytes);
  } else {
    ASSERT_NE(reason, "");
  }
}

Bytes withNumberAt(Bytes bytes, std::size_t position, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[position + i] = static_cast<unsigned char>(value >> (24 - 8 * i) & 0xFF);
  }
  return bytes;
}

class ByteFormRefusal : public ::testing::TestWithParam<Sample> {};

TEST_P(ByteFormRefusal, MeetsEveryTruncation) {
  const Bytes& whole = GetParam().bytes;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes start(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THAT(refusal(start), HasSubstr("message of " + std::to_string(size) + " bytes "));
  }
}

TEST_P(ByteFormRefusal, MeetsABitOfTrailingBytes) {
  Bytes bytes = GetParam().bytes;
  bytes.push_back(0);

  EXPECT_THAT(refusal(bytes), HasSubstr("goes on for 1 bytes after its last field"));
}

TEST_P(ByteFormRefusal, MeetsEveryLengthThatAnnouncesMoreThanIsThere) {
  for (const auto& [position, field] : GetParam().lengths) {
    const auto left = static_cast<std::uint32_t>(GetParam().bytes.size() - position - 4);
    for (const std::uint32_t length : {left + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
      const std::string reason = refusal(withNumberAt(GetParam().bytes, position, length));
      EXPECT_THAT(reason, HasSubstr(field + " announces " + std::to_string(length) +
                                    " bytes, but " + std::to_string(left) + " are left"));
    }
  }
}

TEST_P(ByteFormRefusal, MeetsLengthsThatTakeAllThatIsLeft) {
  for (const auto& [position, field] : GetParam().lengths) {
    SCOPED_TRACE(field);
    const std::size_t left = GetParam().bytes.size() - position - 4;
    const bool isLastField = GetParam().bytes[position + 3] == left;
    if (!isLastField) {
      const auto length = static_cast<std::uint32_t>(left);
      EXPECT_THAT(refusal(withNumberAt(GetParam().bytes, position, length)),
                  HasSubstr("ends inside "));
    }
  }
}

TEST_P(ByteFormRefusal, OrTheOneMessageFollowsFromEveryOtherLength) {
  for (const auto& [position, field] : GetParam().lengths) {
    SCOPED_TRACE(field);
    const auto left = static_cast<std::uint32_t>(GetParam().bytes.size() - position - 4);
    for (std::uint32_t length = 0; length <= left; ++length) {
      expectCanonical(withNumberAt(GetParam().bytes, position, length));
    }
  }
}

TEST_P(ByteFormRefusal, OrTheOneMessageFollowsFromEveryFlippedBit) {
  for (std::size_t bit = 0; bit < 8 * GetParam().bytes.size(); ++bit) {
    Bytes bytes = GetParam().bytes;
    bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] ^ (1 << bit % 8));
    expectCanonical(bytes);
  }
}

TEST_P(ByteFormRefusal, OrTheOneMessageFollowsFromRandomDamage) {
  std::mt19937 random = velp::samples::seededGenerator();
  for (int i = 0; i < 5000; ++i) {
    Bytes bytes = GetParam().bytes;
    for (std::uint32_t damage = random() % 4 + 1; damage > 0; --damage) {
      bytes[random() % bytes.size()] = static_cast<unsigned char>(random() & 0xFF);
    }
    expectCanonical(bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, ByteFormRefusal, ::testing::ValuesIn(velp::samples::all()),
                         [](const auto& info) { return info.param.name; });

TEST(ByteFormRefusal, MeetsRandomGarbage) {
  std::mt19937 random = velp::samples::seededGenerator();
  for (int i = 0; i < 5000; ++i) {
    expectCanonical(velp::samples::randomBytes(random, 200));
  }
}

TEST(ByteFormRefusal, MeetsNoBytesAtAll) {
  std::string reason;

  EXPECT_FALSE(velp::decodeMessage(nullptr, 0, reason));

  EXPECT_EQ(reason, "message of 0 bytes ends inside kind");
}

TEST(ByteFormRefusal, NamesTheFieldInWhichAResponseEnds) {
  const Bytes whole = velp::encodeMessage(VelpClientMessageResponse());
  const auto endingBefore = [&whole](std::ptrdiff_t missing) {
    return refusal(Bytes(whole.begin(), whole.end() - missing));
  };

  EXPECT_THAT(endingBefore(1), HasSubstr("ends inside status"));
  EXPECT_THAT(endingBefore(5), HasSubstr("ends inside answeredID"));
  EXPECT_THAT(endingBefore(9), HasSubstr("ends inside flag"));
}

TEST(ByteFormRefusal, MeetsUnknownKinds) {
  const Bytes request = velp::samples::all().front().bytes;
  for (const std::uint32_t kind : {0u, 1u, 0x81u, 0xEFFFu, 0xF002u, 0xF00000u, 0xFFFFFFFFu}) {
    EXPECT_THAT(refusal(withNumberAt(request, 0, kind)),
                HasSubstr("is of the unknown kind " + std::to_string(kind)));
  }
}

TEST(ByteFormRefusal, MeetsAResponseWithAnotherBaseID) {
  Bytes bytes = velp::encodeMessage(VelpClientMessageResponse());
  bytes[23] = 50;

  EXPECT_THAT(refusal(bytes), HasSubstr("is a response with the base ID 50 instead of 255"));
}

}  // namespace
