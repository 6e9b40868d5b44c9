// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The event list: its text form, its payload, and what becomes of malformed ones.
#include "velpmsg/VelpMsgReqGetEventList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>
#include <string>
#include <vector>

#include "support/Random.h"

namespace {

using Event = VelpMsgReqGetEventList::Event;
using Response = VelpClientMessageResponse;
using Bytes = std::vector<unsigned char>;
using testing::ElementsAre;
using testing::IsEmpty;
using velp::test::Random;

MATCHER_P3(IsEvent, number, text, code, "") {
  *result_listener << "(" << arg.number << ", " << arg.text << ", " << arg.code << ")";
  return arg.number == static_cast<std::uint64_t>(number) && arg.text == text &&
         arg.code == static_cast<std::uint32_t>(code);
}

VelpMsgReqGetEventList listOf(std::vector<Event> events, std::uint32_t leadByte = 0) {
  VelpMsgReqGetEventList list;
  list.leadByte = leadByte;
  list.events = std::move(events);
  return list;
}

Response okWith(const Bytes& payload) {
  Response response(VelpClientMessageBase::MSG_GET_EVENT_LIST, Response::STATUS_OK);
  response.setPayload(payload);
  return response;
}

// A payload as a peer would write it, whose count may be wrong.
Bytes payloadOf(const std::string& text, unsigned char count = 0) {
  Bytes payload{0, 0, count, static_cast<unsigned char>(text.size() >> 8),
                static_cast<unsigned char>(text.size())};
  for (const char c : text) payload.push_back(static_cast<unsigned char>(c));
  return payload;
}

std::vector<Event> decoded(const std::string& text) {
  VelpMsgReqGetEventList list;
  EXPECT_TRUE(list.initFromResponse(okWith(payloadOf(text))));
  return list.events;
}

Event parsed(const std::string& info, Event event = {}) {
  event.setDataFromEventInfo(info);
  return event;
}

TEST(Event, StartsWithZerosAndAnEmptyText) {
  EXPECT_THAT(Event(), IsEvent(0, "", 0));
}

TEST(Event, IsWrittenAsThreeFieldsThatEachEndInASemicolon) {
  EXPECT_EQ((Event{12, "ab", 3}.getEventInfo()), "12;ab;3;");
  EXPECT_EQ(Event().getEventInfo(), "0;;0;");
}

TEST(Event, IsWrittenWithPlainDigitsUpToTheLargestNumbers) {
  EXPECT_EQ((Event{18446744073709551615U, "x", 4294967295U}.getEventInfo()),
            "18446744073709551615;x;4294967295;");
}

TEST(Event, IsReadFromItsText) {
  EXPECT_THAT(parsed("12;ab;3;"), IsEvent(12, "ab", 3));
  EXPECT_THAT(parsed("18446744073709551615;x;4294967295;"),
              IsEvent(18446744073709551615U, "x", 4294967295U));
}

TEST(Event, WithoutTheFinalSemicolonIsReadLikeTheCompleteOne) {
  EXPECT_THAT(parsed("5;x;9"), IsEvent(5, "x", 9));
}

TEST(Event, LeavesMembersAloneWhoseFieldsAreAbsent) {
  const Event before{1, "old", 2};

  EXPECT_THAT(parsed("", before), IsEvent(1, "old", 2));
  EXPECT_THAT(parsed("7", before), IsEvent(7, "old", 2));
  EXPECT_THAT(parsed("7;new", before), IsEvent(7, "new", 2));
}

TEST(Event, LeavesMembersAloneWhoseFieldsAreEmptyOrBlank) {
  const Event before{1, "old", 2};

  EXPECT_THAT(parsed(";;;", before), IsEvent(1, "", 2));
  EXPECT_THAT(parsed(" \t;new;\n\v\f\r ", before), IsEvent(1, "new", 2));
}

TEST(Event, SetsMembersToZeroWhoseFieldsHoldNoNumber) {
  const Event before{1, "old", 2};

  EXPECT_THAT(parsed("x;new;-", before), IsEvent(0, "new", 0));
  EXPECT_THAT(parsed("+-1;new; - 1", before), IsEvent(0, "new", 0));
}

TEST(Event, IsReadFromItsOwnText) {
  Event event{1, "8;a text of more than a few characters;9;", 2};

  event.setDataFromEventInfo(event.text);

  EXPECT_THAT(event, IsEvent(8, "a text of more than a few characters", 9));
}

TEST(Event, IgnoresSurplusFields) {
  EXPECT_THAT(parsed("1;a;2;3;b;c"), IsEvent(1, "a", 2));
}

TEST(Event, ReadsZeroWhereThereIsNoNumber) {
  EXPECT_THAT(parsed(";;"), IsEvent(0, "", 0));
  EXPECT_THAT(parsed("x;a;y"), IsEvent(0, "a", 0));
}

TEST(Event, ReadsNumbersAsFormattedExtractionDoes) {
  EXPECT_THAT(parsed(" 12;a;\t3"), IsEvent(12, "a", 3));
  EXPECT_THAT(parsed("12x;a;3 4"), IsEvent(12, "a", 3));
  EXPECT_THAT(parsed("+12;a;+3"), IsEvent(12, "a", 3));
  EXPECT_THAT(parsed("010;a;0x10"), IsEvent(10, "a", 0));
  EXPECT_THAT(parsed("-1;a;-1"), IsEvent(18446744073709551615U, "a", 4294967295U));
}

TEST(Event, ReadsTheLargestNumberForOneOutOfRange) {
  EXPECT_THAT(parsed("18446744073709551616;a;4294967296"),
              IsEvent(18446744073709551615U, "a", 4294967295U));
}

TEST(Event, ReadsAndWritesPlainDigitsWhateverTheGlobalLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));

  const std::string info = Event{1234567, "a", 7654321}.getEventInfo();
  const Event event = parsed(info);
  std::locale::global(before);

  EXPECT_EQ(info, "1234567;a;7654321;");
  EXPECT_THAT(event, IsEvent(1234567, "a", 7654321));
}

TEST(EventList, StartsEmpty) {
  EXPECT_EQ(VelpMsgReqGetEventList().leadByte, 0u);
  EXPECT_THAT(VelpMsgReqGetEventList().events, IsEmpty());
}

TEST(EventList, WithoutEventsIsFiveBytes) {
  Bytes payload;

  EXPECT_EQ(listOf({}, 9).setResponseData(payload), 5u);

  EXPECT_THAT(payload, ElementsAre(9, 0, 0, 0, 0));
}

TEST(EventList, OfOneEventIsWrittenAsDocumented) {
  Bytes payload;

  EXPECT_EQ(listOf({{12, "ab", 3}}, 1).setResponseData(payload), 13u);

  EXPECT_THAT(payload, ElementsAre(1, 0, 1, 0, 8, '1', '2', ';', 'a', 'b', ';', '3', ';'));
}

TEST(EventList, HasOneSpaceBetweenEventsAndNoneAround) {
  Bytes payload;

  listOf({{12, "ab", 3}, {5, "x", 0}}).setResponseData(payload);

  EXPECT_EQ(std::string(payload.begin() + 5, payload.end()), "12;ab;3; 5;x;0;");
  EXPECT_EQ(payload[4], 15);
}

TEST(EventList, WritesTheLowByteOfItsLeadByteOnly) {
  Bytes payload;

  listOf({}, 0x1FE).setResponseData(payload);

  EXPECT_EQ(payload[0], 0xFE);
}

TEST(EventList, WritesBothBytesOfCountAndLength) {
  Bytes payload;

  listOf(std::vector<Event>(0x0102)).setResponseData(payload);

  EXPECT_EQ(Bytes(payload.begin() + 1, payload.begin() + 3), (Bytes{0x01, 0x02}));
  const std::size_t length = 0x0102 * 6 - 1;
  EXPECT_EQ(payload[3] << 8 | payload[4], static_cast<int>(length));
}

TEST(EventList, IsAppendedToWhatThePayloadHoldsAndCountsIt) {
  Bytes payload{7, 7};

  EXPECT_EQ(listOf({}).setResponseData(payload), 7u);

  EXPECT_THAT(payload, ElementsAre(7, 7, 0, 0, 0, 0, 0));
}

TEST(EventList, ComesBackAsItWas) {
  Bytes payload;
  listOf({{12, "ab", 3}, {5, "", 0}, {18446744073709551615U, "\xE4#", 4294967295U}}, 255)
      .setResponseData(payload);
  VelpMsgReqGetEventList list;

  EXPECT_TRUE(list.initFromResponse(okWith(payload)));

  EXPECT_EQ(list.leadByte, 255u);
  EXPECT_THAT(list.events, ElementsAre(IsEvent(12, "ab", 3), IsEvent(5, "", 0),
                                       IsEvent(18446744073709551615U, "\xE4#", 4294967295U)));
}

TEST(EventList, RefusesAnswersToOtherRequestsAndStaysAsItWas) {
  VelpMsgReqGetEventList list = listOf({{1, "a", 2}}, 3);
  for (const unsigned int id : {0u, 3u, 49u, 51u, 255u}) {
    Response response(static_cast<VelpClientMessageBase::velpMsgID_t>(id), Response::STATUS_OK);
    response.setPayload(payloadOf("9;z;9;"));

    EXPECT_FALSE(list.initFromResponse(response)) << id;
  }

  EXPECT_EQ(list.leadByte, 3u);
  EXPECT_THAT(list.events, ElementsAre(IsEvent(1, "a", 2)));
}

TEST(EventList, RefusesEveryStatusButOKAndStaysAsItWas) {
  VelpMsgReqGetEventList list = listOf({{1, "a", 2}}, 3);
  for (const unsigned int status : {1u, 2u, 3u, 4294967295u}) {
    Response response(VelpClientMessageBase::MSG_GET_EVENT_LIST,
                      static_cast<Response::msgStatus_t>(status));
    response.setPayload(payloadOf("9;z;9;"));

    EXPECT_FALSE(list.initFromResponse(response)) << status;
  }

  EXPECT_EQ(list.leadByte, 3u);
  EXPECT_THAT(list.events, ElementsAre(IsEvent(1, "a", 2)));
}

TEST(EventList, IsMatchedByTheAnsweredIDNotByTheBaseID) {
  const Response response = okWith(payloadOf("1;a;2;"));
  ASSERT_NE(response.getMsgID(), VelpClientMessageBase::MSG_GET_EVENT_LIST);

  EXPECT_TRUE(VelpMsgReqGetEventList().initFromResponse(response));
}

TEST(EventList, SetsItsLeadByteToZeroForAnEmptyPayload) {
  VelpMsgReqGetEventList list = listOf({}, 9);

  EXPECT_TRUE(list.initFromResponse(okWith({})));

  EXPECT_EQ(list.leadByte, 0u);
}

TEST(EventList, GetsNoEventsFromAnyTruncation) {
  const Bytes whole = payloadOf("12;ab;3; 5;x;0;");
  for (std::size_t size = 1; size < whole.size(); ++size) {
    VelpMsgReqGetEventList list;
    Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    part[0] = 77;

    EXPECT_TRUE(list.initFromResponse(okWith(part))) << size;

    EXPECT_EQ(list.leadByte, 77u) << size;
    EXPECT_THAT(list.events, IsEmpty()) << size;
  }
}

TEST(EventList, KeepsNothingForEventsThatAreOnlyAnnounced) {
  for (const Bytes& payload : {Bytes{1, 0xFF, 0xFF, 0, 0}, Bytes{1, 0xFF, 0xFF, 0xFF, 0xFF},
                               Bytes{1, 0xFF, 0xFF, 0xFF, 0xFF, '1', ';'}}) {
    VelpMsgReqGetEventList list;

    EXPECT_TRUE(list.initFromResponse(okWith(payload)));

    EXPECT_EQ(list.leadByte, 1u);
    EXPECT_EQ(list.events.capacity(), 0u);
  }
}

TEST(EventList, HoldsNoMoreThanItsBytesCanMake) {
  const std::string text(65535, ';');

  EXPECT_THAT(decoded(text), ElementsAre(IsEvent(0, "", 0)));
  EXPECT_THAT(decoded(std::string(65535, ' ')), IsEmpty());
  std::string shortest;
  while (shortest.size() < 65534) shortest += "; ";
  EXPECT_EQ(decoded(shortest).size(), 32767u);
}

TEST(EventList, IgnoresBytesBehindItsText) {
  Bytes payload = payloadOf("1;a;2;");
  payload.insert(payload.end(), {' ', '9', ';'});
  VelpMsgReqGetEventList list;

  EXPECT_TRUE(list.initFromResponse(okWith(payload)));

  EXPECT_THAT(list.events, ElementsAre(IsEvent(1, "a", 2)));
}

TEST(EventList, MakesNoEventsOfSpaces) {
  EXPECT_THAT(decoded("   "), IsEmpty());
  EXPECT_THAT(decoded("  1;a;2;   5;x;0;  "), ElementsAre(IsEvent(1, "a", 2), IsEvent(5, "x", 0)));
}

TEST(EventList, SplitsAtSpacesOnly) {
  EXPECT_THAT(decoded("1;a\tb\n;2;"), ElementsAre(IsEvent(1, "a\tb\n", 2)));
}

TEST(EventList, ReadsMalformedEventsAsFarAsTheyGo) {
  EXPECT_THAT(decoded("7"), ElementsAre(IsEvent(7, "", 0)));
  EXPECT_THAT(decoded(";;"), ElementsAre(IsEvent(0, "", 0)));
  EXPECT_THAT(decoded("x;a;y; 5;x;9"), ElementsAre(IsEvent(0, "a", 0), IsEvent(5, "x", 9)));
}

TEST(EventList, OfRandomEventsComesBackAsItWas) {
  Random random;
  const std::string allowed = "abcXYZ0189_-.,:/+\t\n\x80\xFF";
  for (int round = 0; round < 200; ++round) {
    VelpMsgReqGetEventList list;
    list.leadByte = random.byte();
    list.events.resize(random.below(50));
    for (Event& event : list.events) {
      event = {random.number(), "", static_cast<std::uint32_t>(random.number())};
      for (std::size_t n = random.below(20); n > 0; --n) event.text += random.oneOf(allowed);
    }
    Bytes payload;
    list.setResponseData(payload);
    VelpMsgReqGetEventList back;

    ASSERT_TRUE(back.initFromResponse(okWith(payload)));

    ASSERT_EQ(back.leadByte, list.leadByte);
    ASSERT_EQ(back.events.size(), list.events.size());
    for (std::size_t i = 0; i < list.events.size(); ++i) {
      const Event& event = list.events[i];
      ASSERT_THAT(back.events[i], IsEvent(event.number, event.text, event.code)) << i;
    }
  }
}

TEST(EventList, SurvivesAnyBytes) {
  Random random;
  const std::string likely = "0123456789;; -+";
  for (int round = 0; round < 2000; ++round) {
    std::string text(random.below(60), '\0');
    for (char& c : text) {
      c = random.below(4) == 0 ? static_cast<char>(random.byte()) : random.oneOf(likely);
    }
    // An event takes a character at least, and a space stands between two.
    EXPECT_LE(decoded(text).size(), text.size() / 2 + 1);
  }
}

TEST(EventList, SurvivesAnyPayload) {
  Random random;
  for (int round = 0; round < 2000; ++round) {
    Bytes payload(random.below(600));
    for (unsigned char& byte : payload) byte = random.byte();
    if (payload.size() > 3) payload[3] = random.byte() % 2;  // so that some lengths fit
    VelpMsgReqGetEventList list;

    EXPECT_TRUE(list.initFromResponse(okWith(payload)));

    EXPECT_EQ(list.leadByte, payload.empty() ? 0u : payload[0]);
    EXPECT_LE(list.events.size(), payload.size() / 2 + 1);
  }
}

TEST(EventListQuirk, DecodingTwiceLeavesEveryEventTwice) {
  const Response response = okWith(payloadOf("1;a;2; 5;x;0;"));
  VelpMsgReqGetEventList list;

  EXPECT_TRUE(list.initFromResponse(response));
  EXPECT_TRUE(list.initFromResponse(response));

  EXPECT_THAT(list.events, ElementsAre(IsEvent(1, "a", 2), IsEvent(5, "x", 0), IsEvent(1, "a", 2),
                                       IsEvent(5, "x", 0)));
}

TEST(EventListQuirk, TheCountIsWrittenAndNeverRead) {
  VelpMsgReqGetEventList list;

  EXPECT_TRUE(list.initFromResponse(okWith(payloadOf("1;a;2; 5;x;0;", 77))));

  EXPECT_EQ(list.events.size(), 2u);
}

TEST(EventListQuirk, ASpaceInATextSplitsTheEvent) {
  const std::string info = Event{1, "a b", 2}.getEventInfo();

  EXPECT_THAT(decoded(info), ElementsAre(IsEvent(1, "a", 0), IsEvent(0, "2", 0)));
}

TEST(EventListQuirk, ASemicolonInATextShiftsTheFields) {
  const std::string info = Event{1, "a;b", 2}.getEventInfo();

  EXPECT_THAT(decoded(info), ElementsAre(IsEvent(1, "a", 0)));
}

TEST(EventListQuirk, CountAndLengthWrapAt65536WhileAllIsWritten) {
  Bytes payload;

  const unsigned int size = listOf(std::vector<Event>(65537)).setResponseData(payload);

  const std::size_t length = 65537 * 6 - 1;
  EXPECT_EQ(size, 5 + length);
  EXPECT_EQ(payload.size(), size);
  EXPECT_EQ(payload[1] << 8 | payload[2], 1);
  EXPECT_EQ(payload[3] << 8 | payload[4], static_cast<int>(length % 65536));
  EXPECT_EQ(std::string(payload.end() - 6, payload.end()), " 0;;0;");
}

}  // namespace
