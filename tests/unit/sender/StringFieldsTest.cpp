// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// String fields of payloads, and the check of a request's payload length.
#include <random>
#include <thread>

#include "SenderFixture.h"

namespace velp::test {
namespace {

class StringFields : public SenderFixture {
 protected:
  static Request withPayload(const Bytes& payload) {
    return Request(eventList, payload.data(), static_cast<unsigned int>(payload.size()));
  }
  static std::string get(const Bytes& payload, unsigned short offset, unsigned short lenSize) {
    return VelpMsgSender::getString(withPayload(payload), offset, lenSize);
  }
  // The line for a field that runs past the end of `payload`.
  static std::string badLine(const Bytes& payload) {
    const Request bad = withPayload(payload);
    return filled(texts::badString, static_cast<const MessageBase&>(bad));
  }

  Bytes buf;
};

TEST_F(StringFields, SetStringAppendsWithAOneByteLength) {
  buf = {9};

  sut().setString(buf, 1, "ab");

  EXPECT_EQ(buf, (Bytes{9, 2, 'a', 'b'}));
}

TEST_F(StringFields, SetStringAppendsWithATwoByteLength) {
  buf = {9};

  sut().setString(buf, 2, "ab");

  EXPECT_EQ(buf, (Bytes{9, 0, 2, 'a', 'b'}));
}

TEST_F(StringFields, SetStringTakesAnyOtherLengthSizeForOne) {
  sut().setString(buf, 0, "a");
  sut().setString(buf, 3, "b");

  EXPECT_EQ(buf, (Bytes{1, 'a', 1, 'b'}));
}

TEST_F(StringFields, SetStringWritesTheCharactersAsTheyAre) {
  sut().setString(buf, 1, std::string("\0\xFF\n", 3));

  EXPECT_EQ(buf, (Bytes{3, 0x00, 0xFF, 0x0A}));
}

TEST_F(StringFields, SetStringCountsBothBytesOfATwoByteLength) {
  sut().setString(buf, 2, std::string(300, 'x'));

  Bytes expected{0x01, 0x2C};
  expected.insert(expected.end(), 300, 'x');
  EXPECT_EQ(buf, expected);
}

TEST_F(StringFields, SetStringWritesItsEntryLineFromLevelTwo) {
  sut().traceLevel = 1;
  sut().setString(buf, 1, "a");
  EXPECT_EQ(capture.countContaining("setString"), 0u);

  sut().traceLevel = 2;
  sut().setString(buf, 1, "a");
  EXPECT_EQ(capture.count(texts::stringSet), 1u);
}

TEST_F(StringFields, SetStringFromManyThreadsKeepsFieldsWhole) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int n = 0; n < 500; ++n) sut().setString(buf, 1, "abc");
    });
  }
  for (std::thread& thread : threads) thread.join();

  Bytes expected;
  for (int i = 0; i < 2000; ++i) expected.insert(expected.end(), {3, 'a', 'b', 'c'});
  EXPECT_EQ(buf, expected);
}

TEST_F(StringFields, GetStringReadsBothLengthSizes) {
  EXPECT_EQ(get({9, 2, 'a', 'b', 'c'}, 1, 1), "ab");
  EXPECT_EQ(get({9, 0, 2, 'a', 'b', 'c'}, 1, 2), "ab");
  EXPECT_EQ(capture.text(), "");
}

TEST_F(StringFields, GetStringReadsAFieldThatEndsWithThePayload) {
  EXPECT_EQ(get({2, 'a', 'b'}, 0, 1), "ab");
  EXPECT_EQ(get({0, 2, 'a', 'b'}, 0, 2), "ab");
}

TEST_F(StringFields, GetStringReadsLongFields) {
  Bytes payload{0x01, 0x2C};
  payload.insert(payload.end(), 300, 'x');

  EXPECT_EQ(get(payload, 0, 2), std::string(300, 'x'));
}

TEST_F(StringFields, GetStringOfALengthZeroAtTheEndIsEmptyWithoutALine) {
  EXPECT_EQ(get({9, 0}, 1, 1), "");
  EXPECT_EQ(get({9, 0, 0}, 1, 2), "");
  EXPECT_EQ(capture.text(), "");
}

TEST_F(StringFields, GetStringReportsALengthPastTheEnd) {
  EXPECT_EQ(get({9, 1}, 1, 1), "");
  EXPECT_EQ(capture.count(badLine({9, 1})), 1u);

  EXPECT_EQ(get({9, 0, 1}, 1, 2), "");
  EXPECT_EQ(capture.count(badLine({9, 0, 1})), 1u);

  EXPECT_EQ(get({1, 0, 'a'}, 0, 2), "");
  EXPECT_EQ(capture.count(badLine({1, 0, 'a'})), 1u);
}

TEST_F(StringFields, GetStringReportsALongFieldThatLacksOneCharacter) {
  Bytes payload{0x01, 0x2C};
  payload.insert(payload.end(), 299, 'x');

  EXPECT_EQ(get(payload, 0, 2), "");
  EXPECT_EQ(capture.count(badLine(payload)), 1u);
}

TEST_F(StringFields, GetStringWithoutRoomForTheLengthIsEmptyWithoutALine) {
  EXPECT_EQ(get({}, 0, 1), "");
  EXPECT_EQ(get({5}, 1, 1), "");
  EXPECT_EQ(get({5}, 0, 2), "");
  EXPECT_EQ(get({5}, 65535, 2), "");
  EXPECT_EQ(capture.text(), "");
}

TEST_F(StringFields, GetStringOfAnotherLengthSizeIsEmptyWithoutALine) {
  for (unsigned short lenSize : std::vector<unsigned short>{0, 3, 65535}) {
    EXPECT_EQ(get({1, 'a', 'b', 'c', 'd'}, 0, lenSize), "");
  }
  EXPECT_EQ(capture.text(), "");
}

TEST_F(StringFields, GetStringSeesThePayloadLengthModulo65536) {
  Bytes payload(65536 + 3, 'x');
  payload[0] = 2;
  payload[1] = 'a';

  EXPECT_EQ(get(payload, 0, 1), "ax");
  EXPECT_EQ(get(payload, 3, 1), "");
  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(get(payload, 2, 1), "");
  EXPECT_EQ(capture.countContaining(filled(texts::badString, "")), 1u);
}

TEST_F(StringFields, GetStringReadsWhatSetStringWrote) {
  const unsigned int seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  for (int i = 0; i < 300; ++i) {
    const auto lenSize = static_cast<unsigned short>(1 + random() % 2);
    std::string text(random() % (lenSize == 1 ? 256 : 2000), '\0');
    for (char& c : text) c = static_cast<char>(random());
    buf.assign(random() % 5, 0xEE);
    const auto offset = static_cast<unsigned short>(buf.size());
    sut().setString(buf, lenSize, text);
    buf.insert(buf.end(), random() % 5, 0xEE);
    ASSERT_EQ(get(buf, offset, lenSize), text);
  }
}

TEST_F(StringFields, GetStringIsEmptyForEveryTruncation) {
  sut().setString(buf, 2, "some text");

  for (std::size_t length = 0; length < buf.size(); ++length) {
    const Bytes cut(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(get(cut, 0, 2), "") << length;
  }
}

class RequestLength : public StringFields {};

TEST_F(RequestLength, AsExpectedIsAcceptedInSilence) {
  EXPECT_TRUE(sut().checkRequestLengthTxErrResponse(withPayload({1, 2, 3}), 3));
  EXPECT_TRUE(sut().checkRequestLengthTxErrResponse(withPayload({}), 0));
  EXPECT_EQ(capture.text(), "");
}

TEST_F(RequestLength, OtherThanExpectedIsAnsweredWithCode2) {
  Peer requester("Requester");
  Request wrong = withPayload({1, 2, 3});
  wrong.setText("Requester");

  EXPECT_FALSE(sut().checkRequestLengthTxErrResponse(wrong, 4));

  const auto answer = requester.next<Response>();
  EXPECT_EQ(answer.getStatus(), Response::STATUS_ERROR);
  EXPECT_EQ(answer.getAnsweredID(), eventList);
  EXPECT_EQ(answer.getErrorCode(), Response::ERROR_WRONG_LENGTH);
  EXPECT_EQ(answer.getErrorText(), filled(texts::wrongLength, 3));
}

TEST_F(RequestLength, OtherThanExpectedWritesTwoErrorLinesAtEveryLevel) {
  Request wrong = withPayload({1, 2, 3});
  wrong.setText("Service");

  EXPECT_FALSE(sut().checkRequestLengthTxErrResponse(wrong, 4));

  EXPECT_EQ(capture.lines(), (std::vector<std::string>{
                                 filled(texts::invalidLength, "getEventList(50)"),
                                 filled(texts::lengthRefused, filled(texts::wrongLength, 3))}));
}

TEST_F(RequestLength, OtherThanExpectedIsRefusedAlsoWhenTheAnswerCannotBeSent) {
  EXPECT_FALSE(sut().checkRequestLengthTxErrResponse(withPayload({1}), 2));
}

TEST_F(RequestLength, IsCountedModulo65536) {
  EXPECT_TRUE(sut().checkRequestLengthTxErrResponse(withPayload(Bytes(65536 + 2, 0)), 2));
}

}  // namespace
}  // namespace velp::test
