// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The bytes, the status and the entry line of every response that the sender builds.
#include <functional>

#include "SenderFixture.h"
#include "velpmsg/StepTexts.h"

namespace velp::test {
namespace {

using testing::IsEmpty;

class ResponseBuilders : public SenderFixture {
 protected:
  // What all builders have in common.
  void expectBuilt(const Response& built, Response::msgStatus_t status, const Bytes& payload) {
    EXPECT_EQ(built.getKind(), 0xF001u);
    EXPECT_EQ(built.getContext(), 0u);
    EXPECT_EQ(built.getMsgID(), 255u);
    EXPECT_EQ(built.getText(), texts::notSet);
    EXPECT_EQ(built.getAnsweredID(), eventList);
    EXPECT_EQ(built.getStatus(), status);
    EXPECT_EQ(built.getPayload(), payload);
  }

  // The entry line of `send`'s function appears at level 2 and not at level 1.
  void expectEntryLine(const std::string& function, const std::function<bool()>& send) {
    sut().traceLevel = 1;
    EXPECT_TRUE(send());
    EXPECT_EQ(capture.countContaining(function), 0u);
    sut().traceLevel = 2;
    EXPECT_TRUE(send());
    EXPECT_EQ(capture.count("[DEBUG] VelS::" + function + "() "), 1u);
  }

  unsigned char bytes[3] = {0x00, 0x7F, 0xFF};
};

TEST_F(ResponseBuilders, OKWithAVectorCarriesItsBytes) {
  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, Bytes{1, 2, 3}));

  expectBuilt(received(), Response::STATUS_OK, {1, 2, 3});
}

TEST_F(ResponseBuilders, OKWithBytesCarriesThem) {
  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, bytes, 3));

  expectBuilt(received(), Response::STATUS_OK, {0x00, 0x7F, 0xFF});
}

TEST_F(ResponseBuilders, OKWithoutBytesIsEmpty) {
  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, nullptr, 8));
  expectBuilt(received(), Response::STATUS_OK, {});

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, bytes, 0));
  expectBuilt(received(), Response::STATUS_OK, {});
}

TEST_F(ResponseBuilders, OKWithATextCarriesOneStringField) {
  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, "abc", 1));
  expectBuilt(received(), Response::STATUS_OK, {3, 'a', 'b', 'c'});

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, "abc", 2));
  expectBuilt(received(), Response::STATUS_OK, {0, 3, 'a', 'b', 'c'});
}

TEST_F(ResponseBuilders, OKWithATextTakesAnyOtherLengthSizeForOne) {
  for (unsigned short lenSize : std::vector<unsigned short>{0, 3, 65535}) {
    EXPECT_TRUE(sut().sendResponseOK("Service", eventList, "abc", lenSize));
    expectBuilt(received(), Response::STATUS_OK, {3, 'a', 'b', 'c'});
  }
}

TEST_F(ResponseBuilders, OKWithAnEmptyTextCarriesTheLengthAlone) {
  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, "", 2));

  expectBuilt(received(), Response::STATUS_OK, {0, 0});
}

TEST_F(ResponseBuilders, ErrorWithBytesCarriesCodeAndBytes) {
  EXPECT_TRUE(sut().sendResponseError("Service", eventList, Response::ERROR_BUSY, bytes, 3));

  const Response built = received();
  expectBuilt(built, Response::STATUS_ERROR, {0, 0, 0, 7, 0x00, 0x7F, 0xFF});
  EXPECT_EQ(built.getErrorCode(), Response::ERROR_BUSY);
  EXPECT_EQ(built.getFlag(), 0);
}

TEST_F(ResponseBuilders, ErrorWithoutBytesCarriesTheCodeAlone) {
  EXPECT_TRUE(
      sut().sendResponseError("Service", eventList, Response::ERROR_NOT_AVAILABLE, nullptr, 0));

  expectBuilt(received(), Response::STATUS_ERROR, {0, 0, 0, 1});
}

TEST_F(ResponseBuilders, ErrorWithATextCarriesCodeAndStringField) {
  const auto ownCode = static_cast<Response::errorCode_t>(0x01020304);
  EXPECT_TRUE(sut().sendResponseError("Service", eventList, ownCode, "busy"));

  const Response built = received();
  expectBuilt(built, Response::STATUS_ERROR, {1, 2, 3, 4, 4, 'b', 'u', 's', 'y'});
  EXPECT_EQ(built.getErrorText(), "busy");
  EXPECT_EQ(built.getFlag(), 0);
}

TEST_F(ResponseBuilders, ProgressWithBytesCarriesPercentAndBytes) {
  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 50, bytes, 3));

  const Response built = received();
  expectBuilt(built, Response::STATUS_PROGRESS, {50, 0x00, 0x7F, 0xFF});
  EXPECT_EQ(built.getProgress(), 50);
  EXPECT_EQ(built.getFlag(), 0);
}

TEST_F(ResponseBuilders, ProgressWithoutBytesCarriesThePercentAlone) {
  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 255, nullptr, 4));

  expectBuilt(received(), Response::STATUS_PROGRESS, {255});
}

TEST_F(ResponseBuilders, ProgressWithAnIndexCarriesTextAndIndex) {
  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 7, 4));

  const Response built = received();
  expectBuilt(built, Response::STATUS_PROGRESS,
              {7, 9, 'C', 'o', 'p', 'y', ' ', 'd', 'a', 't', 'a', 0, 4});
  EXPECT_EQ(built.getFlag(), 0);
}

TEST_F(ResponseBuilders, ProgressWithTheLastIndexCarriesItsText) {
  const std::string text = texts::steps[33];
  Bytes payload{0x64, 29};
  payload.insert(payload.end(), text.begin(), text.end());
  payload.insert(payload.end(), {0x00, 0x21});

  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 100, 33));

  expectBuilt(received(), Response::STATUS_PROGRESS, payload);
}

TEST_F(ResponseBuilders, ProgressWithAnIndexPastTheTableCarriesNoText) {
  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 50, 34));
  expectBuilt(received(), Response::STATUS_PROGRESS, {0x32, 0x00, 0x00, 0x22});

  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 50, 65535));
  expectBuilt(received(), Response::STATUS_PROGRESS, {0x32, 0x00, 0xFF, 0xFF});
}

TEST_F(ResponseBuilders, ProgressWithAnIndexCarriesEveryTextOfTheTable) {
  for (unsigned short index = 0; index < stepTextCount; ++index) {
    ASSERT_TRUE(sut().sendResponseProgress("Service", eventList, 1, index));
    EXPECT_EQ(received().getProgressText(), stepTexts[index]);
  }
}

TEST_F(ResponseBuilders, ProgressWithATextCarriesPercentAndStringField) {
  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 99, "abc"));

  const Response built = received();
  expectBuilt(built, Response::STATUS_PROGRESS, {99, 3, 'a', 'b', 'c'});
  EXPECT_EQ(built.getFlag(), 0);
}

TEST_F(ResponseBuilders, ProgressWithAnEmptyTextCarriesAZeroLength) {
  EXPECT_TRUE(sut().sendResponseProgress("Service", eventList, 0, ""));

  expectBuilt(received(), Response::STATUS_PROGRESS, {0, 0});
}

TEST_F(ResponseBuilders, ReturnFalseAndSayNothingWhenTheTargetIsAbsent) {
  const auto code = Response::ERROR_BUSY;
  EXPECT_FALSE(sut().sendResponseOK("Nobody", eventList, Bytes{}));
  EXPECT_FALSE(sut().sendResponseOK("Nobody", eventList, bytes, 3));
  EXPECT_FALSE(sut().sendResponseOK("Nobody", eventList, "text", 1));
  EXPECT_FALSE(sut().sendResponseError("Nobody", eventList, code, bytes, 3));
  EXPECT_FALSE(sut().sendResponseError("Nobody", eventList, code, "text"));
  EXPECT_FALSE(sut().sendResponseProgress("Nobody", eventList, 1, bytes, 3));
  EXPECT_FALSE(sut().sendResponseProgress("Nobody", eventList, 1, 3));
  EXPECT_FALSE(sut().sendResponseProgress("Nobody", eventList, 1, "text"));

  EXPECT_THAT(capture.lines(), IsEmpty());
}

TEST_F(ResponseBuilders, OKWithAVectorWritesItsEntryLineFromLevelTwo) {
  expectEntryLine("sendResponseOK",
                  [] { return sut().sendResponseOK("Service", eventList, Bytes{}); });
}

TEST_F(ResponseBuilders, OKWithBytesWritesItsEntryLineFromLevelTwo) {
  expectEntryLine("sendResponseOK",
                  [] { return sut().sendResponseOK("Service", eventList, nullptr, 0); });
}

TEST_F(ResponseBuilders, ErrorWithBytesWritesItsEntryLineFromLevelTwo) {
  expectEntryLine("sendResponseError", [] {
    return sut().sendResponseError("Service", eventList, Response::ERROR_BUSY, nullptr, 0);
  });
}

TEST_F(ResponseBuilders, ProgressWithBytesWritesItsEntryLineFromLevelTwo) {
  expectEntryLine("sendResponseProgress",
                  [] { return sut().sendResponseProgress("Service", eventList, 1, nullptr, 0); });
}

TEST_F(ResponseBuilders, ProgressWithAnIndexWritesItsEntryLineFromLevelTwo) {
  expectEntryLine("sendResponseProgress",
                  [] { return sut().sendResponseProgress("Service", eventList, 1, 2); });
}

TEST_F(ResponseBuilders, ProgressWithATextWritesItsEntryLineFromLevelTwo) {
  expectEntryLine("sendResponseProgress",
                  [] { return sut().sendResponseProgress("Service", eventList, 1, "text"); });
}

TEST_F(ResponseBuilders, OKAndErrorWithATextWriteNoLineAtAnyLevel) {
  sut().traceLevel = 2;

  EXPECT_TRUE(sut().sendResponseOK("Service", eventList, "text", 1));
  EXPECT_TRUE(sut().sendResponseError("Service", eventList, Response::ERROR_BUSY, "text"));

  EXPECT_EQ(capture.countContaining("sendResponse"), 0u);
  EXPECT_EQ(capture.countContaining("setString"), 0u);
}

}  // namespace
}  // namespace velp::test
