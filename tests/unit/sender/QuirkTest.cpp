// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What looks like a mistake in the sender and is kept: see docs/quirks.md.
#include "SenderFixture.h"

namespace velp::test {
namespace {

class Quirk : public SenderFixture {
 protected:
  Bytes buf;
};

TEST_F(Quirk, LengthErrorSaysMustBe2WhateverWasExpected) {
  Request wrong(eventList, nullptr, 0);
  wrong.setText("Service");
  for (unsigned short expected = 1; expected < 5; ++expected) {
    EXPECT_FALSE(sut().checkRequestLengthTxErrResponse(wrong, expected));
    EXPECT_EQ(received().getErrorText(), filled(texts::wrongLength, 0));
  }
}

TEST_F(Quirk, FlagIsSetByTwoOfTheThreeOKBuilders) {
  unsigned char bytes[] = {1};

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, Bytes{1}));
  EXPECT_EQ(received().getFlag(), 1);

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, "a", 1));
  EXPECT_EQ(received().getFlag(), 1);

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, bytes, 1));
  EXPECT_EQ(received().getFlag(), 0);
}

TEST_F(Quirk, IgnoredResponsesAreLoggedAtEveryLevel) {
  for (std::uint32_t level = 0; level < 3; ++level) {
    sut().traceLevel = level;
    capture.clear();
    answerWith({makeResponse(VelpClientMessageBase::MSG_REMOVE_DATA, Response::STATUS_OK),
                makeResponse(eventList, Response::STATUS_OK)});

    EXPECT_EQ(sut().sendRequestWaitForResponse("Service", request, response, 20), 0);

    EXPECT_EQ(capture.count(filled(texts::responseIgnored, "removeData(3)")), 1u);
  }
}

TEST_F(Quirk, LateAnswerToAnEarlierRequestCompletesTheNext) {
  const Response late = makeResponse(eventList, Response::STATUS_OK, {1});
  // The answer to request 1 leaves when request 2 has come; request 2 is never answered.
  service.onRequest([this, late](const Request& arrived) {
    if (arrived.getPayload() == Bytes{2}) service.sendTo("Client", late);
  });
  const unsigned char numbers[] = {1, 2};
  const Request first(eventList, &numbers[0], 1);
  const Request second(eventList, &numbers[1], 1);

  EXPECT_EQ(sut().sendRequestWaitForResponse("Service", first, response, 0), -2);
  EXPECT_EQ(sut().sendRequestWaitForResponse("Service", second, response, 20), 0);

  EXPECT_EQ(response, late);
}

TEST_F(Quirk, OneByteStringLengthWrapsAt256) {
  sut().setString(buf, 1, std::string(300, 'x'));

  Bytes expected{44};
  expected.insert(expected.end(), 300, 'x');
  EXPECT_EQ(buf, expected);
}

TEST_F(Quirk, OneByteStringLengthOf256CharactersIsZero) {
  sut().setString(buf, 1, std::string(255, 'x'));
  EXPECT_EQ(buf.front(), 255);
  buf.clear();

  sut().setString(buf, 1, std::string(256, 'x'));
  EXPECT_EQ(buf.front(), 0);
  EXPECT_EQ(buf.size(), 257u);
}

TEST_F(Quirk, TwoByteStringLengthWrapsAt65536) {
  sut().setString(buf, 2, std::string(65536 + 258, 'x'));

  EXPECT_EQ(buf.size(), 65536u + 258 + 2);
  EXPECT_EQ(buf[0], 1);
  EXPECT_EQ(buf[1], 2);
}

TEST_F(Quirk, StringLengthsOfBuildersWrapToo) {
  const std::string text(300, 'x');
  Bytes field{44};
  field.insert(field.end(), 300, 'x');

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, text, 1));
  EXPECT_EQ(received().getPayload(), field);

  EXPECT_TRUE(sut().sendResponseError("Service", eventList, Response::ERROR_BUSY, text));
  Bytes error{0, 0, 0, 7};
  error.insert(error.end(), field.begin(), field.end());
  EXPECT_EQ(received().getPayload(), error);

  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 9, text));
  Bytes progress{9};
  progress.insert(progress.end(), field.begin(), field.end());
  EXPECT_EQ(received().getPayload(), progress);
}

}  // namespace
}  // namespace velp::test
