// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The remove-data request: what it becomes on the wire, its size, and the walk through its spans.
#include "velpmsg/VelpMsgReqRmData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>
#include <type_traits>

#include "support/LogCapture.h"
#include "support/fixedTexts.h"
#include "unit/codecs/rmDataSamples.h"

namespace {

using namespace velp::samples;
using testing::ElementsAre;
using testing::IsEmpty;
using velp::test::LogCapture;
using velp::test::Random;

static_assert(!std::is_polymorphic_v<VelpMsgReqRmData>);
static_assert(std::is_copy_constructible_v<VelpMsgReqRmData>);
static_assert(std::is_copy_assignable_v<VelpMsgReqRmData>);

Bytes encoded(const VelpMsgReqRmData& data) {
  LogCapture capture;
  return data.getRequest().getPayload();
}

TEST(RmData, StartsAsARequestForEverythingWithoutSpans) {
  VelpMsgReqRmData sut;
  span_t span;

  EXPECT_EQ(sut.count, 0u);
  EXPECT_EQ(sut.mode, 0u);
  EXPECT_THAT(sut.spans, IsEmpty());
  EXPECT_FALSE(sut.getNextSpan(span));
}

TEST(RmData, HasSpansThatStartWithZerosAndAnEmptyText) {
  EXPECT_THAT(span_t(), IsSpan(0, 0, 0, ""));
}

TEST(RmData, BecomesARequestOfItsMessageIDWithDefaultsOtherwise) {
  const VelpClientMessageRequest request = rmData(1).getRequest();

  EXPECT_EQ(request.getMsgID(), 3u);
  EXPECT_EQ(request.getKind(), 0xF000u);
  EXPECT_EQ(request.getText(), velp::test::texts::notSet);
  const unsigned char payload[] = {1, 0, 0};
  EXPECT_EQ(request, VelpClientMessageRequest(VelpClientMessageBase::MSG_REMOVE_DATA, payload, 3));
}

TEST(RmData, OfMode0IsOneByteWhateverElseItHolds) {
  EXPECT_THAT(encoded(rmData(0)), ElementsAre(0));
  EXPECT_THAT(encoded(rmData(0, {numbersSpan(1, 2)})), ElementsAre(0));
  EXPECT_EQ(rmData(0).getDataBytesNeeded(), 1u);
  EXPECT_EQ(rmData(0, {numbersSpan(1, 2)}).getDataBytesNeeded(), 1u);
}

TEST(RmData, OfMode0IsLoggedOnce) {
  LogCapture capture;

  rmData(0).getRequest();

  EXPECT_EQ(capture.text(), std::string(velp::test::texts::removeAll) + "\n");
}

TEST(RmData, OfOtherModesIsNotLogged) {
  LogCapture capture;

  for (const std::uint32_t mode : {1u, 2u, 3u, 255u, 256u}) {
    rmData(mode, {textSpan("a")}).getRequest();
    rmData(mode).getDataBytesNeeded();
  }

  EXPECT_EQ(capture.text(), "");
}

TEST(RmData, OfASelectiveModeWithoutSpansIsThreeBytes) {
  EXPECT_THAT(encoded(rmData(1)), ElementsAre(1, 0, 0));
  EXPECT_THAT(encoded(rmData(2)), ElementsAre(2, 0, 0));
  EXPECT_EQ(rmData(1).getDataBytesNeeded(), 3u);
  EXPECT_EQ(rmData(2).getDataBytesNeeded(), 3u);
}

TEST(RmData, OfEveryModeAbove2IsTheModeAlone) {
  for (std::uint32_t mode = 3; mode <= 255; ++mode) {
    const VelpMsgReqRmData sut = rmData(mode, {numbersSpan(1, 2), textSpan("a")});

    EXPECT_THAT(encoded(sut), ElementsAre(mode));
    EXPECT_EQ(sut.getDataBytesNeeded(), 1u) << mode;
  }
}

TEST(RmData, WithNumbersIsWrittenAsDocumented) {
  const VelpMsgReqRmData sut = rmData(2, {numbersSpan(1, 258)});

  EXPECT_THAT(encoded(sut), ElementsAre(2, 0, 1, 0,              //
                                        0, 0, 0, 0, 0, 0, 0, 1,  //
                                        0, 0, 0, 0, 0, 0, 1, 2));
  EXPECT_EQ(sut.getDataBytesNeeded(), 20u);
}

TEST(RmData, WritesAllEightBytesOfItsNumbers) {
  const Bytes payload = encoded(rmData(1, {numbersSpan(0x0102030405060708, 0xF1F2F3F4F5F6F7F8)}));

  EXPECT_EQ(Bytes(payload.begin() + 4, payload.end()),
            (Bytes{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,  //
                   0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8}));
}

TEST(RmData, WithATextIsWrittenAsDocumented) {
  const VelpMsgReqRmData sut = rmData(1, {textSpan("abc")});

  EXPECT_THAT(encoded(sut), ElementsAre(1, 0, 1, 1, 3, 'a', 'b', 'c'));
  EXPECT_EQ(sut.getDataBytesNeeded(), 8u);
}

TEST(RmData, WritesTextsOfNoneAndOf255BytesWhole) {
  EXPECT_THAT(encoded(rmData(1, {textSpan("")})), ElementsAre(1, 0, 1, 1, 0));
  const std::string longest(255, '\xFF');
  const Bytes payload = encoded(rmData(1, {textSpan(longest)}));

  EXPECT_EQ(payload[4], 255);
  EXPECT_EQ(std::string(payload.begin() + 5, payload.end()), longest);
}

TEST(RmData, WritesOtherTypesAlone) {
  const VelpMsgReqRmData sut = rmData(2, {{2, 7, 8, "x"}, bareSpan(255)});

  EXPECT_THAT(encoded(sut), ElementsAre(2, 0, 2, 2, 255));
  EXPECT_EQ(sut.getDataBytesNeeded(), 5u);
}

TEST(RmData, WritesItsSpansBackToBack) {
  const VelpMsgReqRmData sut = rmData(1, {textSpan("a"), bareSpan(9), textSpan("bc")});

  EXPECT_THAT(encoded(sut), ElementsAre(1, 0, 3, 1, 1, 'a', 9, 1, 2, 'b', 'c'));
  EXPECT_EQ(sut.getDataBytesNeeded(), 11u);
}

TEST(RmData, WritesBothBytesOfItsCount) {
  const Bytes payload = encoded(rmData(1, std::vector<span_t>(0x0102, bareSpan(2))));

  EXPECT_EQ(Bytes(payload.begin(), payload.begin() + 3), (Bytes{1, 0x01, 0x02}));
  EXPECT_EQ(payload.size(), 3u + 0x0102);
}

TEST(RmData, NeedsTheBytesThatItsRequestHas) {
  Random random;
  for (int round = 0; round < 200; ++round) {
    const auto mode = static_cast<std::uint32_t>(random.below(4));
    const VelpMsgReqRmData sut = rmData(mode, randomSpans(random, 255));

    ASSERT_EQ(sut.getDataBytesNeeded(), encoded(sut).size()) << "mode " << mode;
  }
}

TEST(RmData, TellsTheSizeOf255Spans) {
  EXPECT_EQ(rmData(1, std::vector<span_t>(255)).getDataBytesNeeded(), 3u + 255 * 17);
}

TEST(RmData, ComesBackAsItWas) {
  Random random;
  for (int round = 0; round < 200; ++round) {
    const auto mode = static_cast<std::uint32_t>(1 + random.below(2));
    const VelpMsgReqRmData sent = rmData(mode, randomSpans(random, 300));
    const Bytes payload = encoded(sent);
    VelpMsgReqRmData received;

    ASSERT_TRUE(received.setData(payload.data(), payload.size()));

    ASSERT_EQ(received.mode, mode);
    ASSERT_EQ(received.count, sent.count);
    ASSERT_EQ(received.spans.size(), sent.spans.size());
    EXPECT_EQ(encoded(received), payload);
  }
}

TEST(RmData, HandsOutEachSpanOnceInOrder) {
  VelpMsgReqRmData sut = rmData(1, {numbersSpan(1, 2), textSpan("a"), bareSpan(9)});

  EXPECT_THAT(walk(sut),
              ElementsAre(IsSpan(0, 1, 2, ""), IsSpan(1, 0, 0, "a"), IsSpan(9, 0, 0, "")));

  EXPECT_THAT(walk(sut), IsEmpty());
}

TEST(RmData, HandsOutAllFourFieldsWhateverTheType) {
  VelpMsgReqRmData sut = rmData(1, {{2, 3, 4, "five"}});

  EXPECT_THAT(walk(sut), ElementsAre(IsSpan(2, 3, 4, "five")));
}

TEST(RmData, LeavesTheArgumentAloneWhenNoSpanIsLeft) {
  VelpMsgReqRmData sut;
  span_t span{2, 3, 4, "five"};

  EXPECT_FALSE(sut.getNextSpan(span));

  EXPECT_THAT(span, IsSpan(2, 3, 4, "five"));
}

TEST(RmData, HandsOutSpansInEveryMode) {
  VelpMsgReqRmData sut = rmData(0, {bareSpan(2)});

  EXPECT_EQ(walk(sut).size(), 1u);
}

TEST(RmData, HandsOutSpansThatWereAddedDuringTheWalk) {
  VelpMsgReqRmData sut = rmData(1, {bareSpan(2)});
  ASSERT_EQ(walk(sut).size(), 1u);

  for (int i = 0; i < 100; ++i) sut.spans.push_back(bareSpan(3));

  EXPECT_EQ(walk(sut).size(), 100u);
}

TEST(RmData, EndsTheWalkWhenItsSpansAreGone) {
  VelpMsgReqRmData sut = rmData(1, {bareSpan(2), bareSpan(3)});
  span_t span;
  ASSERT_TRUE(sut.getNextSpan(span));

  sut.spans.clear();

  EXPECT_FALSE(sut.getNextSpan(span));
}

TEST(RmData, IsNotRewoundByEncoding) {
  VelpMsgReqRmData sut = rmData(1, {bareSpan(2), bareSpan(3)});
  span_t span;
  ASSERT_TRUE(sut.getNextSpan(span));

  encoded(sut);
  sut.getDataBytesNeeded();

  EXPECT_THAT(walk(sut), ElementsAre(IsSpan(3, 0, 0, "")));
}

TEST(RmData, IsCopiedWithItsPlaceInTheWalk) {
  span_t span;
  VelpMsgReqRmData copy;
  {
    VelpMsgReqRmData sut = rmData(1, {bareSpan(2), textSpan("a")});
    ASSERT_TRUE(sut.getNextSpan(span));
    copy = sut;
  }

  EXPECT_EQ(copy.mode, 1u);
  EXPECT_EQ(copy.count, 2u);
  EXPECT_THAT(walk(copy), ElementsAre(IsSpan(1, 0, 0, "a")));
}

// The virtual timer counts the time that the process computes, so that a slow machine changes
// nothing.
void computeSizeForAWhile(std::size_t spans) {
  const itimerval while_{{0, 0}, {0, 300000}};
  std::signal(SIGVTALRM, SIG_DFL);
  setitimer(ITIMER_VIRTUAL, &while_, nullptr);
  rmData(1, std::vector<span_t>(spans)).getDataBytesNeeded();
}

TEST(RmDataQuirk, TheSizeOf256SpansOrMoreIsNeverThrough) {
  EXPECT_EXIT(computeSizeForAWhile(256), testing::KilledBySignal(SIGVTALRM), "");
  EXPECT_EXIT(computeSizeForAWhile(1000), testing::KilledBySignal(SIGVTALRM), "");
  EXPECT_EQ(rmData(0, std::vector<span_t>(256)).getDataBytesNeeded(), 1u);
}

TEST(RmDataQuirk, Mode5IsWrittenWithoutTheSpansThatItIsReadWith) {
  VelpMsgReqRmData sut = rmData(5, {bareSpan(2)});
  EXPECT_THAT(encoded(sut), ElementsAre(5));
  EXPECT_EQ(sut.getDataBytesNeeded(), 1u);
  const Bytes payload{5, 0, 1, 2};

  EXPECT_TRUE(sut.setData(payload.data()));

  EXPECT_EQ(sut.mode, 5u);
  EXPECT_EQ(sut.count, 1u);
  EXPECT_THAT(walk(sut), ElementsAre(IsSpan(2, 0, 0, "")));
  EXPECT_EQ(sut.getDataBytesNeeded(), 1u);
}

TEST(RmDataQuirk, TheRequestForEverythingIsLoggedAsTheHandlers) {
  LogCapture capture;

  rmData(0).getRequest();

  EXPECT_EQ(capture.countContaining("VelH::"), 1u);
}

TEST(RmDataQuirk, TheCountIsWrittenAsItStandsBeforeAllSpans) {
  VelpMsgReqRmData sut = rmData(1, {bareSpan(2), bareSpan(3)});
  sut.count = 0x0201;
  EXPECT_THAT(encoded(sut), ElementsAre(1, 2, 1, 2, 3));

  sut.count = 0;
  EXPECT_THAT(encoded(sut), ElementsAre(1, 0, 0, 2, 3));
  EXPECT_EQ(sut.getDataBytesNeeded(), 5u);
}

TEST(RmDataQuirk, TextLengthWrapsAt256WhileAllIsWritten) {
  const std::string text(300, 'x');
  const VelpMsgReqRmData sut = rmData(1, {textSpan(text)});

  const Bytes payload = encoded(sut);

  EXPECT_EQ(payload[4], 44);
  EXPECT_EQ(std::string(payload.begin() + 5, payload.end()), text);
  EXPECT_EQ(sut.getDataBytesNeeded(), payload.size());
  EXPECT_EQ(encoded(rmData(1, {textSpan(std::string(256, 'x'))}))[4], 0);
}

TEST(RmDataQuirk, TypesAndModesAreComparedWholeAndWrittenByTheLowByte) {
  EXPECT_THAT(encoded(rmData(1, {{256, 7, 8, "x"}})), ElementsAre(1, 0, 1, 0));
  EXPECT_EQ(rmData(1, {{256, 7, 8, "x"}}).getDataBytesNeeded(), 4u);
  EXPECT_THAT(encoded(rmData(1, {{257, 7, 8, "x"}})), ElementsAre(1, 0, 1, 1));
  EXPECT_EQ(rmData(1, {{257, 7, 8, "x"}}).getDataBytesNeeded(), 4u);
  EXPECT_THAT(encoded(rmData(257, {bareSpan(2)})), ElementsAre(1));
  EXPECT_THAT(encoded(rmData(256)), ElementsAre(0));
  EXPECT_EQ(rmData(257, {bareSpan(2)}).getDataBytesNeeded(), 1u);
}

}  // namespace
