// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list without streams gives exactly what streams give, for good texts and hostile ones.
#include "support/EventListByStreams.h"

#include <gtest/gtest.h>

#include "codecs/decimal.h"
#include "support/Random.h"

namespace {

namespace bystreams = velp::test::bystreams;
using bystreams::Event;
using velp::test::Random;

const std::string hostile("0123456789+- \t\n\v\f\r;,.'xXeEaf\0\x7F\x80\xA0\xFF", 33);

std::string shown(const std::string& text) {
  return testing::PrintToString(text);
}

template <typename Number>
void expectSameNumber(const std::string& field) {
  Number mine = 77, streams = 77;

  velp::extractDecimal(field, mine);
  bystreams::extractDecimal(field, streams);

  ASSERT_EQ(mine, streams) << shown(field);
}

void expectSameNumbers(const std::string& field) {
  ASSERT_NO_FATAL_FAILURE(expectSameNumber<std::uint32_t>(field));
  ASSERT_NO_FATAL_FAILURE(expectSameNumber<std::uint64_t>(field));
}

void expectSameEvent(const Event& mine, const Event& streams, const std::string& text) {
  ASSERT_EQ(mine.number, streams.number) << shown(text);
  ASSERT_EQ(mine.text, streams.text) << shown(text);
  ASSERT_EQ(mine.code, streams.code) << shown(text);
}

std::vector<Event> readList(const std::string& text) {
  std::vector<unsigned char> payload{0, 0, 0, static_cast<unsigned char>(text.size() >> 8),
                                     static_cast<unsigned char>(text.size())};
  payload.insert(payload.end(), text.begin(), text.end());
  VelpClientMessageResponse response(VelpClientMessageBase::MSG_GET_EVENT_LIST,
                                     VelpClientMessageResponse::STATUS_OK);
  response.setPayload(payload);
  VelpMsgReqGetEventList list;
  EXPECT_TRUE(list.initFromResponse(response));
  return list.events;
}

void expectSameList(const std::string& text) {
  const std::vector<Event> mine = readList(text), streams = bystreams::readList(text);
  ASSERT_EQ(mine.size(), streams.size()) << shown(text);
  for (std::size_t i = 0; i < mine.size(); ++i) {
    ASSERT_NO_FATAL_FAILURE(expectSameEvent(mine[i], streams[i], text));
  }
}

std::string randomText(Random& random, const std::string& characters, std::size_t limit) {
  std::string text(random.below(limit), '\0');
  for (char& c : text) c = random.oneOf(characters);
  return text;
}

TEST(Decimal, OfEveryShortFieldIsAsStreamsReadIt) {
  const std::string characters = "019+- \tx";
  std::vector<std::string> fields{""};
  for (std::size_t i = 0; fields[i].size() < 5; ++i) {
    ASSERT_NO_FATAL_FAILURE(expectSameNumbers(fields[i]));
    for (const char c : characters) fields.push_back(fields[i] + c);
  }
}

TEST(Decimal, OfEverySingleCharacterIsAsStreamsReadIt) {
  for (int c = 0; c < 256; ++c) {
    const std::string character(1, static_cast<char>(c));
    for (const std::string& field : {character, character + "5", "5" + character, "-" + character,
                                     "5" + character + "6", " " + character + "5"}) {
      ASSERT_NO_FATAL_FAILURE(expectSameNumbers(field));
    }
  }
}

TEST(Decimal, AroundTheEndsOfItsRangeIsAsStreamsReadIt) {
  const std::vector<std::string> numbers{
      "2147483647",           "2147483648",           "4294967294",
      "4294967295",           "4294967296",           "4294967297",
      "42949672950",          "9223372036854775807",  "9223372036854775808",
      "18446744073709551614", "18446744073709551615", "18446744073709551616",
      "18446744073709551617", "18446744073709551620", "184467440737095516150",
      std::string(400, '9'),  std::string(400, '0')};
  for (const std::string& number : numbers) {
    for (const char* before : {"", "-", "+", "--", "+-", "0", "-000", " ", "\n-", "- "}) {
      for (const char* after : {"", "x", " 1", "-", ".5", "e3"}) {
        ASSERT_NO_FATAL_FAILURE(expectSameNumbers(before + number + after));
      }
    }
  }
}

TEST(Decimal, OfAnythingIsAsStreamsReadIt) {
  Random random;
  for (int round = 0; round < 20000; ++round) {
    const std::string field = randomText(random, "  +-", 4) + randomText(random, "0123456789", 25) +
                              randomText(random, hostile, 4);
    ASSERT_NO_FATAL_FAILURE(expectSameNumbers(field));
  }
}

TEST(EventByStreams, IsReadFromAnythingAlike) {
  Random random;
  for (int round = 0; round < 20000; ++round) {
    const std::string info = randomText(random, hostile + ";;;;;;;;", 30);
    Event mine{1, "old", 2}, streams = mine;

    mine.setDataFromEventInfo(info);
    bystreams::setDataFromEventInfo(info, streams);

    ASSERT_NO_FATAL_FAILURE(expectSameEvent(mine, streams, info));
  }
}

TEST(EventByStreams, IsWrittenAlike) {
  Random random;
  for (int round = 0; round < 2000; ++round) {
    const Event event{random.number(), randomText(random, hostile, 30),
                      static_cast<std::uint32_t>(random.number())};

    ASSERT_EQ(event.getEventInfo(), bystreams::writeInfo(event));
  }
}

TEST(EventListByStreams, IsReadFromAnythingAlike) {
  Random random;
  for (int round = 0; round < 5000; ++round) {
    ASSERT_NO_FATAL_FAILURE(expectSameList(randomText(random, hostile + ";;;;;;      ", 300)));
  }
}

TEST(EventListByStreams, IsReadFromEveryShortTextAlike) {
  std::vector<std::string> texts{""};
  for (std::size_t i = 0; texts[i].size() < 5; ++i) {
    ASSERT_NO_FATAL_FAILURE(expectSameList(texts[i]));
    for (const char c : std::string("; 1-x")) texts.push_back(texts[i] + c);
  }
}

TEST(EventListByStreams, IsReadFromTheLongestTextAlike) {
  Random random;
  std::string text(65535, '\0');
  for (char& c : text) c = random.oneOf("0123456789;; ");

  expectSameList(text);
}

}  // namespace
