// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Message IDs in words and string fields inside the payload.
#include "velp/message/VelpClientMessageBase.h"

#include <gtest/gtest.h>

#include <sstream>

#include "velp/message/VelpClientMessageRequest.h"

namespace {

using Client = VelpClientMessageBase;
using Bytes = std::vector<unsigned char>;

VelpClientMessageRequest withPayload(const Bytes& payload) {
  VelpClientMessageRequest request(Client::MSG_GET_EVENT_LIST, nullptr, 0);
  request.setPayload(payload);
  return request;
}

std::string written(std::uint32_t id) {
  std::ostringstream os;
  os << static_cast<Client::velpMsgID_t>(id);
  return os.str();
}

TEST(MessageID, IsWrittenByNameAndNumber) {
  EXPECT_EQ(written(3), "removeData(3)");
  EXPECT_EQ(written(50), "getEventList(50)");
  EXPECT_EQ(written(255), "unset(255)");
}

TEST(MessageID, WithoutANameIsWrittenAsUnknown) {
  EXPECT_EQ(written(0), "unknown(0)");
  EXPECT_EQ(written(51), "unknown(51)");
  EXPECT_EQ(written(0xFFFFFFFF), "unknown(-1)");
}

TEST(MessageID, IsWrittenAlikeWhateverTheStreamsBase) {
  std::ostringstream os;

  os << std::hex << Client::MSG_GET_EVENT_LIST << ' ' << static_cast<Client::velpMsgID_t>(51);

  EXPECT_EQ(os.str(), "getEventList(50) unknown(51)");
}

TEST(ClientMessage, IsLoggedWithTheStartOfALargePayload) {
  auto sut = withPayload(Bytes(17, 0xAB));
  sut.setText("ali\"ce\x1b[2J");

  EXPECT_EQ(sut.toString(),
            "{request, id getEventList(50), text \"ali\\x22ce\\x1b[2J\", payload 17 bytes: "
            "ab ab ab ab ab ab ab ab ab ab ab ab ab ab ab ab ...}");
}

TEST(GetString, ReadsAFieldWithATwoByteLength) {
  EXPECT_EQ(withPayload({9, 0, 1, 0, 2, 'a', 'b', 'c'}).getString(3, 2), "ab");
}

TEST(GetString, ReadsAFieldWithAOneByteLength) {
  EXPECT_EQ(withPayload({9, 2, 'a', 'b', 'c'}).getString(1, 1), "ab");
}

TEST(GetString, KeepsZeroBytes) {
  EXPECT_EQ(withPayload({3, 'a', 0, 'b'}).getString(0, 1), std::string("a\0b", 3));
}

TEST(GetString, ReadsBothBytesOfTheLength) {
  Bytes payload{0x01, 0x2C};
  payload.insert(payload.end(), 300, 'x');

  EXPECT_EQ(withPayload(payload).getString(0, 2), std::string(300, 'x'));
}

TEST(GetString, ReadsAFieldThatEndsWithThePayload) {
  EXPECT_EQ(withPayload({0, 1, 'a'}).getString(0, 2), "a");
  EXPECT_EQ(withPayload({1, 'a'}).getString(0, 1), "a");
}

TEST(GetString, IsEmptyForAFieldOfLengthZeroAtTheEnd) {
  EXPECT_EQ(withPayload({9, 0, 0}).getString(1, 2), "");
  EXPECT_EQ(withPayload({9, 0}).getString(1, 1), "");
}

TEST(GetString, IsEmptyWhenTheLengthRunsOneByteTooFar) {
  EXPECT_EQ(withPayload({0, 2, 'a'}).getString(0, 2), "");
  EXPECT_EQ(withPayload({2, 'a'}).getString(0, 1), "");
}

TEST(GetString, IsEmptyWhenTheLengthItselfIsNotWhole) {
  EXPECT_EQ(withPayload({9, 0}).getString(1, 2), "");
  EXPECT_EQ(withPayload({9}).getString(1, 1), "");
}

TEST(GetString, IsEmptyForAPositionBehindThePayload) {
  EXPECT_EQ(withPayload({1, 'a'}).getString(3, 1), "");
  EXPECT_EQ(withPayload({1, 'a'}).getString(0xFFFF, 2), "");
  EXPECT_EQ(withPayload({}).getString(0, 1), "");
}

TEST(GetString, IsEmptyForAnyOtherWidth) {
  const auto sut = withPayload({0, 0, 1, 'a', 'b', 'c'});

  EXPECT_EQ(sut.getString(0, 0), "");
  EXPECT_EQ(sut.getString(0, 3), "");
  EXPECT_EQ(sut.getString(0, 0xFFFF), "");
}

TEST(GetString, ReadsBeyondPosition65535OfALargePayload) {
  Bytes payload(0xFFFF, 0);
  payload.insert(payload.end(), {0, 2, 'a', 'b'});

  EXPECT_EQ(withPayload(payload).getString(0xFFFF, 2), "ab");
}

}  // namespace
