// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The remove-data request, read from payloads: trusted ones, and those of anybody.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/codecs/rmDataSamples.h"
#include "velpmsg/VelpMsgReqRmData.h"

namespace {

using namespace velp::samples;
using testing::ElementsAre;
using testing::IsEmpty;
using velp::test::Random;

// One span of each kind, with every number different.
const Bytes mixed{2,    0,    4,                                      //
                  1,    3,    'a',  'b',  'c',                        //
                  0,    1,    2,    3,    4,    5,    6,    7,    8,  //
                  0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8,     //
                  9,                                                  //
                  1,    0};

void expectMixed(const VelpMsgReqRmData& data) {
  constexpr std::uint64_t from = 0x0102030405060708, to = 0xF1F2F3F4F5F6F7F8;
  EXPECT_EQ(data.mode, 2u);
  EXPECT_EQ(data.count, 4u);
  EXPECT_THAT(data.spans, ElementsAre(IsSpan(1, 0, 0, "abc"), IsSpan(0, from, to, "abc"),
                                      IsSpan(9, from, to, "abc"), IsSpan(1, from, to, "")));
}

void expectEqual(const VelpMsgReqRmData& a, const VelpMsgReqRmData& b) {
  ASSERT_EQ(a.mode, b.mode);
  ASSERT_EQ(a.count, b.count);
  ASSERT_EQ(a.spans.size(), b.spans.size());
  for (std::size_t i = 0; i < a.spans.size(); ++i) {
    const span_t& span = b.spans[i];
    ASSERT_THAT(a.spans[i], IsSpan(span.type, span.from, span.to, span.text)) << i;
  }
}

// An object in the middle of its walk, to see whether it is left alone.
class RmDataInUse : public testing::Test {
 protected:
  RmDataInUse() : sut(rmData(1, {textSpan("first"), textSpan("second"), textSpan("third")})) {
    span_t span;
    EXPECT_TRUE(sut.getNextSpan(span));
  }
  void expectUntouched() {
    expectEqual(sut, rmData(1, {textSpan("first"), textSpan("second"), textSpan("third")}));
    VelpMsgReqRmData copy = sut;
    EXPECT_THAT(walk(copy), ElementsAre(IsSpan(1, 0, 0, "second"), IsSpan(1, 0, 0, "third")));
  }

  VelpMsgReqRmData sut;
};

TEST(RmDataDecoding, ReadsSpansOfAllKinds) {
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(mixed.data()));

  expectMixed(sut);
}

TEST(RmDataDecoding, ReadsSpansOfAllKindsFromAPayloadOfKnownSize) {
  const Exact payload(mixed);
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(payload.data(), payload.size()));

  expectMixed(sut);
}

TEST(RmDataDecoding, ReadsNothingBehindTheMode0) {
  const Exact payload({0});
  VelpMsgReqRmData sut = rmData(1, {bareSpan(2)});

  EXPECT_TRUE(sut.setData(payload.data()));

  EXPECT_EQ(sut.mode, 0u);
  EXPECT_EQ(sut.count, 0u);
  EXPECT_THAT(sut.spans, IsEmpty());
  EXPECT_THAT(walk(sut), IsEmpty());
}

TEST(RmDataDecoding, TakesAModeWithoutSpans) {
  const Exact payload({1, 0, 0});
  VelpMsgReqRmData sut = rmData(0, {bareSpan(2)});

  EXPECT_TRUE(sut.setData(payload.data(), payload.size()));

  EXPECT_EQ(sut.mode, 1u);
  EXPECT_EQ(sut.count, 0u);
  EXPECT_THAT(sut.spans, IsEmpty());
}

TEST(RmDataDecoding, ReadsBothBytesOfTheCount) {
  Bytes payload(3 + 65535, 2);
  payload[1] = payload[2] = 0xFF;
  const Exact exact(payload);
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(exact.data(), exact.size()));

  EXPECT_EQ(sut.count, 65535u);
  EXPECT_EQ(sut.spans.size(), 65535u);
}

TEST(RmDataDecoding, ReadsATextOf255BytesWhole) {
  Bytes payload{1, 0, 1, 1, 255};
  payload.resize(5 + 255, 0xFF);
  const Exact exact(payload);
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(exact.data(), exact.size()));

  EXPECT_THAT(sut.spans, ElementsAre(IsSpan(1, 0, 0, std::string(255, '\xFF'))));
}

TEST(RmDataDecoding, GivesSpansBeforeTheFirstNumbersAndTextsZerosAndEmptyTexts) {
  const Bytes payload{1, 0, 2, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  VelpMsgReqRmData sut = rmData(1, {{3, 4, 5, "old"}, {3, 4, 5, "old"}});

  EXPECT_TRUE(sut.setData(payload.data()));

  EXPECT_THAT(sut.spans, ElementsAre(IsSpan(7, 0, 0, ""), IsSpan(0, 0, 1, "")));
}

TEST(RmDataDecoding, ReplacesSpansAndKeepsTheirStorage) {
  VelpMsgReqRmData sut = rmData(1, std::vector<span_t>(100));
  const std::size_t before = sut.spans.capacity();
  const span_t* const storage = sut.spans.data();

  EXPECT_TRUE(sut.setData(mixed.data()));

  EXPECT_EQ(sut.spans.size(), 4u);
  EXPECT_EQ(sut.spans.capacity(), before);
  EXPECT_EQ(sut.spans.data(), storage);
}

TEST_F(RmDataInUse, IsRewoundByDecoding) {
  ASSERT_TRUE(sut.setData(mixed.data()));
  EXPECT_EQ(walk(sut).size(), 4u);
  EXPECT_THAT(walk(sut), IsEmpty());

  ASSERT_TRUE(sut.setData(mixed.data(), mixed.size()));

  EXPECT_EQ(walk(sut).size(), 4u);
}

TEST_F(RmDataInUse, IsLeftAloneByANullPointer) {
  EXPECT_FALSE(sut.setData(nullptr));
  expectUntouched();
  EXPECT_FALSE(sut.setData(nullptr, 0));
  expectUntouched();
  EXPECT_FALSE(sut.setData(nullptr, 4));
  expectUntouched();
}

TEST_F(RmDataInUse, DoesNotTakeAnEmptyPayloadForTheRequestForEverything) {
  const Bytes behindThePayload{0};

  EXPECT_FALSE(sut.setData(behindThePayload.data(), 0));

  expectUntouched();
}

TEST_F(RmDataInUse, IsLeftAloneByEveryTruncation) {
  for (std::size_t size = 0; size < mixed.size(); ++size) {
    const Exact part(Bytes(mixed.begin(), mixed.begin() + static_cast<std::ptrdiff_t>(size)));

    EXPECT_FALSE(sut.setData(part.data(), part.size())) << size;

    expectUntouched();
  }
}

TEST_F(RmDataInUse, IsLeftAloneByCountsLargerThanWhatIsThere) {
  Bytes payload = mixed;
  for (unsigned int count = 5; count <= 65535; count += 997) {
    payload[1] = static_cast<unsigned char>(count >> 8);
    payload[2] = static_cast<unsigned char>(count);
    const Exact exact(payload);

    EXPECT_FALSE(sut.setData(exact.data(), exact.size())) << count;

    expectUntouched();
  }
}

TEST_F(RmDataInUse, IsLeftAloneByTextsLongerThanWhatIsThere) {
  for (unsigned int length = 4; length <= 255; ++length) {
    const Exact exact({1, 0, 1, 1, static_cast<unsigned char>(length), 'a', 'b', 'c'});

    EXPECT_FALSE(sut.setData(exact.data(), exact.size())) << length;

    expectUntouched();
  }
}

TEST_F(RmDataInUse, IsLeftAloneByModesWithoutACount) {
  for (unsigned int mode = 1; mode <= 255; ++mode) {
    const Exact one({static_cast<unsigned char>(mode)});
    const Exact two({static_cast<unsigned char>(mode), 0});

    EXPECT_FALSE(sut.setData(one.data(), one.size())) << mode;
    EXPECT_FALSE(sut.setData(two.data(), two.size())) << mode;
  }
  expectUntouched();
}

TEST_F(RmDataInUse, KeepsItsStorageWhenItIsLeftAlone) {
  const std::size_t before = sut.spans.capacity();
  const Exact exact({1, 0xFF, 0xFF, 2, 2, 2, 2});

  EXPECT_FALSE(sut.setData(exact.data(), exact.size()));

  EXPECT_EQ(sut.spans.capacity(), before);
}

TEST(RmDataDecoding, IgnoresBytesBehindWhatIsAnnounced) {
  Bytes payload = mixed;
  payload.insert(payload.end(), {1, 200, 'x'});
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(payload.data(), payload.size()));
  expectMixed(sut);

  const Exact everything({0, 0xFF, 0xFF});
  EXPECT_TRUE(sut.setData(everything.data(), everything.size()));
  EXPECT_THAT(sut.spans, IsEmpty());
}

TEST(RmDataDecoding, HoldsNoMoreSpansThanThePayloadHasBytes) {
  Bytes payload(3 + 1000, 2);
  payload[1] = 1000 >> 8;
  payload[2] = 1000 & 0xFF;
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(payload.data(), payload.size()));

  EXPECT_EQ(sut.spans.capacity(), 1000u);
}

TEST(RmDataDecoding, IsTheSameWithAndWithoutTheSize) {
  Random random;
  VelpMsgReqRmData checked, trusting;
  for (int round = 0; round < 300; ++round) {
    Bytes payload = rmData(1, randomSpans(random, 300)).getRequest().getPayload();
    payload[0] = static_cast<unsigned char>(1 + random.below(255));
    const Exact exact(payload);

    ASSERT_TRUE(checked.setData(exact.data(), exact.size()));
    ASSERT_TRUE(trusting.setData(exact.data()));

    ASSERT_NO_FATAL_FAILURE(expectEqual(checked, trusting));
    ASSERT_FALSE(checked.setData(exact.data(), random.below(exact.size())));
  }
}

TEST(RmDataDecoding, OfAnyBytesIsAllOrNothing) {
  Random random;
  int taken = 0;
  for (int round = 0; round < 20000; ++round) {
    Bytes payload(random.below(80));
    for (unsigned char& byte : payload) byte = static_cast<unsigned char>(random.below(4));
    if (payload.size() > 1) payload[1] = 0;
    const Exact exact(payload);
    VelpMsgReqRmData checked = rmData(77, {bareSpan(2)}), trusting;

    if (checked.setData(exact.data(), exact.size())) {
      ++taken;
      ASSERT_TRUE(trusting.setData(exact.data()));
      ASSERT_NO_FATAL_FAILURE(expectEqual(checked, trusting));
    } else {
      ASSERT_NO_FATAL_FAILURE(expectEqual(checked, rmData(77, {bareSpan(2)})));
    }
  }
  EXPECT_GT(taken, 1000);
  EXPECT_LT(taken, 19000);
}

TEST(RmDataDecoding, ReadsAStringAtItsOffset) {
  const Exact bytes({9, 9, 3, 'a', 0, 'c', 7, 0});

  EXPECT_EQ(VelpMsgReqRmData::getString(bytes.data(), 2), std::string("a\0c", 3));
  EXPECT_EQ(VelpMsgReqRmData::getString(bytes.data(), 7), "");
}

TEST(RmDataDecoding, ReadsAStringAtTheLargestOffset) {
  Bytes bytes(65535 + 1 + 255, 'x');
  bytes[65535] = 255;
  const Exact exact(bytes);

  EXPECT_EQ(VelpMsgReqRmData::getString(exact.data(), 65535), std::string(255, 'x'));
}

TEST(RmDataQuirk, SpansKeepWhatTheirTypeDoesNotSet) {
  const Bytes payload{1, 0, 2, 1, 3, 'a', 'b', 'c',     //
                      0, 0, 0, 0, 0, 0,   0,   0,   1,  //
                      0, 0, 0, 0, 0, 0,   0,   2};
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(payload.data()));

  EXPECT_THAT(walk(sut), ElementsAre(IsSpan(1, 0, 0, "abc"), IsSpan(0, 1, 2, "abc")));
}

TEST(RmDataDecoding, KeepsNothingFromOneDecodingToTheNext) {
  VelpMsgReqRmData sut;
  ASSERT_TRUE(sut.setData(mixed.data()));
  const Bytes payload{1, 0, 1, 2};

  EXPECT_TRUE(sut.setData(payload.data()));

  EXPECT_THAT(walk(sut), ElementsAre(IsSpan(2, 0, 0, "")));
}

TEST(RmDataQuirk, SpansAreReadInEveryModeBut0) {
  for (unsigned int mode = 1; mode <= 255; ++mode) {
    const Exact payload({static_cast<unsigned char>(mode), 0, 1, 2});
    VelpMsgReqRmData sut, trusting;

    EXPECT_TRUE(sut.setData(payload.data(), payload.size()));
    EXPECT_TRUE(trusting.setData(payload.data()));

    EXPECT_EQ(sut.mode, mode);
    EXPECT_EQ(sut.spans.size(), 1u) << mode;
    EXPECT_EQ(trusting.spans.size(), 1u) << mode;
  }
}

TEST(RmDataQuirk, AsMuchIsReadAsThePayloadAnnounces) {
  constexpr std::size_t payloadSize = 4;
  const Bytes memory{1, 0, 2, 2, /* behind the payload: */ 1, 1, 'x'};
  VelpMsgReqRmData sut;

  EXPECT_TRUE(sut.setData(memory.data()));
  EXPECT_THAT(walk(sut), ElementsAre(IsSpan(2, 0, 0, ""), IsSpan(1, 0, 0, "x")));
  EXPECT_GT(sut.getDataBytesNeeded(), payloadSize);

  EXPECT_FALSE(sut.setData(memory.data(), payloadSize));
}

}  // namespace
