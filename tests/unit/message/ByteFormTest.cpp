// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the byte form is, byte by byte, and that it brings back an equal message.
#include "velp/message/ByteForm.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "unit/message/samples.h"

namespace {

using velp::samples::Bytes;
using velp::samples::Sample;

/// The bytes of the block in docs/wire-format.md that is marked with `name`.
Bytes documentedBytes(const std::string& name) {
  std::ifstream page(VELP_DOCS_DIR "/wire-format.md");
  std::string line;
  while (std::getline(page, line) && line != "<!-- bytes: " + name + " -->") {
  }
  std::getline(page, line);
  Bytes bytes;
  while (std::getline(page, line) && line != "```") {
    std::istringstream digits(line.substr(0, line.find("  ")));
    for (unsigned int byte = 0; digits >> std::hex >> byte;) {
      bytes.push_back(static_cast<unsigned char>(byte));
    }
  }
  return bytes;
}

class ByteForm : public ::testing::TestWithParam<Sample> {};

TEST_P(ByteForm, IsExactlyTheLiteralBytes) {
  EXPECT_EQ(velp::encodeMessage(*GetParam().message), GetParam().bytes);
}

TEST_P(ByteForm, IsTheWorkedExampleOfTheDocumentation) {
  EXPECT_EQ(documentedBytes(GetParam().name), GetParam().bytes);
}

TEST_P(ByteForm, ComesBackAsAnEqualMessage) {
  std::string reason;

  const auto decoded =
      velp::decodeMessage(GetParam().bytes.data(), GetParam().bytes.size(), reason);

  ASSERT_TRUE(decoded) << reason;
  EXPECT_TRUE(velp::samples::equal(*decoded, *GetParam().message));
  EXPECT_EQ(reason, "");
}

TEST_P(ByteForm, HasTheSizeThatTheMessageTells) {
  const std::size_t baseEnd = GetParam().lengths[1].first + 4;
  const std::size_t routeSize = GetParam().bytes[baseEnd - 1];

  EXPECT_EQ(GetParam().message->byteSize(true), GetParam().bytes.size());
  EXPECT_EQ(GetParam().message->byteSize(false), GetParam().bytes.size() - baseEnd - routeSize);
}

TEST_P(ByteForm, LeavesOutTheBaseWhenAsked) {
  const Bytes& whole = GetParam().bytes;
  const auto size = static_cast<unsigned int>(GetParam().message->byteSize(false));
  Bytes fields(size);
  unsigned char* cursor = fields.data();

  ASSERT_TRUE(GetParam().message->writeToByteArray(cursor, size, false));

  EXPECT_EQ(fields, Bytes(whole.end() - static_cast<std::ptrdiff_t>(size), whole.end()));
  EXPECT_EQ(cursor, fields.data() + size);
}

TEST_P(ByteForm, MovesTheCursorBehindWhatItWrites) {
  const auto size = static_cast<unsigned int>(GetParam().bytes.size());
  Bytes buffer(size + 2, 0xAA);
  unsigned char* cursor = buffer.data();

  ASSERT_TRUE(GetParam().message->writeToByteArray(cursor, size + 2, true));

  EXPECT_EQ(cursor, buffer.data() + size);
  EXPECT_EQ(buffer[size], 0xAA);
  EXPECT_EQ(buffer[size + 1], 0xAA);
}

TEST_P(ByteForm, IsNotWrittenAtAllWhenOneByteIsMissing) {
  const auto size = static_cast<unsigned int>(GetParam().bytes.size());
  Bytes buffer(size, 0xAA);
  unsigned char* cursor = buffer.data();

  EXPECT_FALSE(GetParam().message->writeToByteArray(cursor, size - 1, true));
  EXPECT_FALSE(GetParam().message->writeToByteArray(cursor, 0, true));

  EXPECT_EQ(cursor, buffer.data());
  EXPECT_EQ(buffer, Bytes(size, 0xAA));
}

INSTANTIATE_TEST_SUITE_P(Of, ByteForm, ::testing::ValuesIn(velp::samples::all()),
                         [](const auto& info) { return info.param.name; });

TEST(ByteFormRoundTrip, BringsBackRandomMessages) {
  std::mt19937 random = velp::samples::seededGenerator();
  for (int i = 0; i < 300; ++i) {
    const auto message = velp::samples::randomMessage(random);
    const Bytes bytes = velp::encodeMessage(*message);
    std::string reason;

    const auto decoded = velp::decodeMessage(bytes.data(), bytes.size(), reason);

    ASSERT_TRUE(decoded) << reason;
    ASSERT_TRUE(velp::samples::equal(*decoded, *message))
        << *message << " came back as " << *decoded;
    ASSERT_EQ(velp::encodeMessage(*decoded), bytes);
  }
}

TEST(ByteFormRoundTrip, KeepsAnEmptyPayloadAndEmptyTexts) {
  VelpClientMessageRequest request(VelpClientMessageBase::MSG_REMOVE_DATA, nullptr, 0);
  request.setText("");
  const Bytes bytes = velp::encodeMessage(request);
  std::string reason;

  const auto decoded = velp::decodeMessage(bytes.data(), bytes.size(), reason);

  ASSERT_TRUE(decoded) << reason;
  EXPECT_TRUE(dynamic_cast<const VelpClientMessageRequest&>(*decoded) == request);
}

TEST(ByteFormRoundTrip, KeepsEnumerationValuesThatHaveNoName) {
  const VelpClientMessageResponse response(
      static_cast<VelpClientMessageBase::velpMsgID_t>(0xFFFFFFFF),
      static_cast<VelpClientMessageResponse::msgStatus_t>(0x80000001));
  const Bytes bytes = velp::encodeMessage(response);
  std::string reason;

  const auto decoded = velp::decodeMessage(bytes.data(), bytes.size(), reason);

  ASSERT_TRUE(decoded) << reason;
  EXPECT_TRUE(dynamic_cast<const VelpClientMessageResponse&>(*decoded) == response);
}

/// Claims any size without having it.
class ClaimingMessage : public MessageBase {
 public:
  explicit ClaimingMessage(std::uint64_t claimed) : MessageBase(1, 0), claimed(claimed) {}
  MessageBase* clone() const override { return new ClaimingMessage(*this); }
  std::uint64_t byteSize(bool withBase) const override { return withBase ? claimed : 0; }
  void writeFields(unsigned char*&) const override { ADD_FAILURE() << "has nothing to write"; }
  const char* kindName() const override { return "claim"; }

 private:
  std::uint64_t claimed;
};

TEST(ByteFormSize, IsRefusedAbove32Bits) {
  const ClaimingMessage message(0x100000000);
  unsigned char* const start = nullptr;
  unsigned char* cursor = start;

  EXPECT_FALSE(message.writeToByteArray(cursor, 0xFFFFFFFF, true));
  EXPECT_EQ(cursor, start);
  try {
    velp::encodeMessage(message);
    ADD_FAILURE() << "nothing thrown";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(), "message of 4294967296 bytes has no byte form");
  }
}

TEST(ByteFormSize, IsNothingToWriteForAMessageWithoutFieldsWhenTheBaseIsLeftOut) {
  const ClaimingMessage message(20);
  unsigned char byte = 0xAA;
  unsigned char* cursor = &byte;

  EXPECT_FALSE(message.writeToByteArray(cursor, 1, false));

  EXPECT_EQ(cursor, &byte);
  EXPECT_EQ(byte, 0xAA);
}

}  // namespace
