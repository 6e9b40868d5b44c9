// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How responses are made, compared and written, and the records that they carry.
#include "velp/message/VelpClientMessageResponse.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/fixedTexts.h"

namespace {

namespace texts = velp::test::texts;
using velp::test::filled;

using Client = VelpClientMessageBase;
using Response = VelpClientMessageResponse;
using Bytes = std::vector<unsigned char>;

Response errorWith(const Bytes& payload) {
  Response response(Client::MSG_GET_EVENT_LIST, Response::STATUS_ERROR);
  response.setPayload(payload);
  return response;
}

Response progressWith(const Bytes& payload) {
  Response response(Client::MSG_GET_EVENT_LIST, Response::STATUS_PROGRESS);
  response.setPayload(payload);
  return response;
}

std::string written(std::uint32_t status) {
  std::ostringstream os;
  os << static_cast<Response::msgStatus_t>(status);
  return os.str();
}

TEST(Response, KeepsTheRequestsIDApartFromItsBaseID) {
  const Response sut(Client::MSG_GET_EVENT_LIST, Response::STATUS_ERROR);

  EXPECT_EQ(sut.getMsgID(), 255u);
  EXPECT_EQ(sut.getAnsweredID(), 50u);
  EXPECT_EQ(sut.getStatus(), 2u);
}

TEST(Response, StartsWithFlagZeroAnEmptyPayloadAndNoText) {
  const Response sut(Client::MSG_GET_EVENT_LIST, Response::STATUS_OK);

  EXPECT_EQ(sut.getFlag(), 0);
  EXPECT_TRUE(sut.getPayload().empty());
  EXPECT_EQ(sut.getText(), texts::notSet);
}

TEST(Response, MadeToBeFilledAnswersNothingYet) {
  const Response sut;

  EXPECT_EQ(sut.getMsgID(), 255u);
  EXPECT_EQ(sut.getAnsweredID(), 255u);
  EXPECT_EQ(sut.getStatus(), Response::STATUS_OK);
  EXPECT_EQ(sut.getFlag(), 0);
}

TEST(Response, IsCopiedAndAssignedWhole) {
  Response original(Client::MSG_GET_EVENT_LIST, Response::STATUS_PROGRESS);
  original.setFlag(200);
  original.setPayload({1, 2});
  original.setText("alice");
  original.cascadeChannel(5);

  const Response copied(original);
  Response assigned;
  assigned = original;

  EXPECT_TRUE(copied == original);
  EXPECT_TRUE(assigned == original);
  EXPECT_EQ(copied.getFlag(), 200);
}

TEST(Response, DiffersInEachOfItsFields) {
  const Response sut(Client::MSG_GET_EVENT_LIST, Response::STATUS_OK);
  Response flag(sut);
  Response payload(sut);
  flag.setFlag(1);
  payload.setPayload({0});

  EXPECT_TRUE(sut == Response(Client::MSG_GET_EVENT_LIST, Response::STATUS_OK));
  EXPECT_FALSE(sut == Response(Client::MSG_REMOVE_DATA, Response::STATUS_OK));
  EXPECT_FALSE(sut == Response(Client::MSG_GET_EVENT_LIST, Response::STATUS_ERROR));
  EXPECT_FALSE(sut == flag);
  EXPECT_FALSE(sut == payload);
}

TEST(Response, IsWrittenWithWhatItAnswers) {
  Response sut(Client::MSG_GET_EVENT_LIST, Response::STATUS_OK);
  sut.setFlag(1);
  sut.setPayload({0x0F});
  std::ostringstream os;

  os << sut;

  EXPECT_EQ(os.str(), filled("{response, id unset(255), text \"{}\", payload 1 byte: 0f, "
                             "answers getEventList(50), status OK, flag 1}",
                             texts::notSet));
}

TEST(Response, IsWrittenEvenWithValuesThatHaveNoName) {
  const Response sut(static_cast<Client::velpMsgID_t>(1234),
                     static_cast<Response::msgStatus_t>(99));

  EXPECT_NE(sut.toString().find("answers unknown(1234), status unknown(99)"), std::string::npos);
}

TEST(Status, IsWrittenByName) {
  EXPECT_EQ(written(0), "OK");
  EXPECT_EQ(written(1), "PROGRESS");
  EXPECT_EQ(written(2), "ERROR");
}

TEST(Status, WithoutANameIsWrittenAsUnknown) {
  EXPECT_EQ(written(3), "unknown(3)");
  EXPECT_EQ(written(0xFFFFFFFF), "unknown(-1)");
}

TEST(ErrorRecord, IsTheCodeAndTheBytes) {
  const unsigned char text[] = {2, 'n', 'o'};
  Response sut = errorWith({9, 9});

  sut.setErrorInfo(static_cast<Response::errorCode_t>(0x01020304), text, 3);

  EXPECT_EQ(sut.getPayload(), (Bytes{1, 2, 3, 4, 2, 'n', 'o'}));
  EXPECT_EQ(sut.getErrorCode(), 0x01020304u);
  EXPECT_EQ(sut.getErrorText(), "no");
}

TEST(ErrorRecord, IsTheCodeAloneWithoutBytes) {
  const unsigned char byte = 1;
  Response sut = errorWith({});

  sut.setErrorInfo(Response::ERROR_BUSY, nullptr, 8);
  EXPECT_EQ(sut.getPayload(), (Bytes{0, 0, 0, 7}));
  sut.setErrorInfo(Response::ERROR_BUSY, &byte, 0);
  EXPECT_EQ(sut.getPayload(), (Bytes{0, 0, 0, 7}));

  EXPECT_EQ(sut.getErrorText(), "");
}

TEST(ErrorRecord, HasNoCodeInAShortPayload) {
  EXPECT_EQ(errorWith({}).getErrorCode(), Response::ERROR_NONE);
  EXPECT_EQ(errorWith({1, 2, 3}).getErrorCode(), Response::ERROR_NONE);
  EXPECT_EQ(errorWith({0, 0, 0, 2}).getErrorCode(), Response::ERROR_WRONG_LENGTH);
}

TEST(ErrorRecord, HasNoTextWhenTheTextIsNotWhole) {
  EXPECT_EQ(errorWith({0, 0, 0, 2, 3, 'a', 'b'}).getErrorText(), "");
}

TEST(ErrorRecord, IsReadFromErrorsOnly) {
  Response sut = progressWith({0, 0, 0, 2, 1, 'a'});

  EXPECT_EQ(sut.getErrorCode(), Response::ERROR_NONE);
  EXPECT_EQ(sut.getErrorText(), "");
}

TEST(ErrorRecord, LeavesTheStatusToItsOwner) {
  Response sut(Client::MSG_GET_EVENT_LIST, Response::STATUS_OK);

  sut.setErrorInfo(Response::ERROR_BUSY, nullptr, 0);

  EXPECT_EQ(sut.getStatus(), Response::STATUS_OK);
}

TEST(ProgressRecord, IsThePercentageAndTheBytes) {
  const unsigned char text[] = {2, 'h', 'i'};
  Response sut = progressWith({9, 9});

  sut.setProgressInfo(200, text, 3);

  EXPECT_EQ(sut.getPayload(), (Bytes{200, 2, 'h', 'i'}));
  EXPECT_EQ(sut.getProgress(), 200);
  EXPECT_EQ(sut.getProgressText(), "hi");
}

TEST(ProgressRecord, IsThePercentageAloneWithoutBytes) {
  const unsigned char byte = 1;
  Response sut = progressWith({});

  sut.setProgressInfo(50, nullptr, 8);
  EXPECT_EQ(sut.getPayload(), Bytes{50});
  sut.setProgressInfo(50, &byte, 0);
  EXPECT_EQ(sut.getPayload(), Bytes{50});

  EXPECT_EQ(sut.getProgressText(), "");
}

TEST(ProgressRecord, GivesItsTextBesideAnIndex) {
  EXPECT_EQ(progressWith({50, 2, 'h', 'i', 0, 33}).getProgressText(), "hi");
}

TEST(ProgressRecord, HasNoTextWhenTheTextIsNotWhole) {
  EXPECT_EQ(progressWith({50, 3, 'h', 'i'}).getProgressText(), "");
}

TEST(ProgressRecord, IsZeroInAnEmptyPayload) {
  EXPECT_EQ(progressWith({}).getProgress(), 0);
}

TEST(ProgressRecord, IsReadFromProgressOnly) {
  const Response sut = errorWith({50, 1, 'a'});

  EXPECT_EQ(sut.getProgress(), 0);
  EXPECT_EQ(sut.getProgressText(), "");
}

}  // namespace
