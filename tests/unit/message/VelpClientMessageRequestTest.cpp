// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How requests are made, copied and compared.
#include "velp/message/VelpClientMessageRequest.h"

#include <gtest/gtest.h>

#include "support/fixedTexts.h"

namespace {

namespace texts = velp::test::texts;

using Client = VelpClientMessageBase;
using Request = VelpClientMessageRequest;
using Bytes = std::vector<unsigned char>;

TEST(Request, CopiesTheBytesItIsMadeFrom) {
  Bytes bytes{1, 2, 3};
  const Request sut(Client::MSG_REMOVE_DATA, bytes.data(), 3);

  bytes.assign(3, 0);

  EXPECT_EQ(sut.getPayload(), (Bytes{1, 2, 3}));
  EXPECT_EQ(sut.getMsgID(), 3u);
  EXPECT_EQ(sut.getText(), texts::notSet);
}

TEST(Request, HasNoPayloadWithoutBytesOrWithoutLength) {
  const unsigned char byte = 1;

  EXPECT_TRUE(Request(Client::MSG_REMOVE_DATA, nullptr, 8).getPayload().empty());
  EXPECT_TRUE(Request(Client::MSG_REMOVE_DATA, &byte, 0).getPayload().empty());
}

TEST(Request, WithAnEmptyPayloadCopiesToAnEmptyPayloadWithoutABuffer) {
  const Request original(Client::MSG_REMOVE_DATA, nullptr, 0);

  const Request sut(original);

  EXPECT_TRUE(sut.getPayload().empty());
  EXPECT_EQ(sut.getPayload().capacity(), 0u);
  EXPECT_TRUE(sut == original);
}

TEST(Request, IsIndependentOfItsCopy) {
  const unsigned char byte = 1;
  const Request original(Client::MSG_REMOVE_DATA, &byte, 1);
  Request sut(original);

  sut.setPayload({2});
  sut.setText("bob");

  EXPECT_EQ(original.getPayload(), Bytes{1});
  EXPECT_EQ(original.getText(), texts::notSet);
}

TEST(Request, DiffersInIDPayloadOrText) {
  const unsigned char byte = 1;
  const Request sut(Client::MSG_REMOVE_DATA, &byte, 1);
  const Request otherID(Client::MSG_GET_EVENT_LIST, &byte, 1);
  Request otherPayload(sut);
  Request otherText(sut);

  otherPayload.setPayload({2});
  otherText.setText("bob");

  EXPECT_FALSE(sut == otherID);
  EXPECT_FALSE(sut == otherPayload);
  EXPECT_FALSE(sut == otherText);
}

}  // namespace
