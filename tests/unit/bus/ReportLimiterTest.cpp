// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How many reports a flood may make.
#include "bus/ReportLimiter.h"

#include <gtest/gtest.h>

namespace velp::test {
namespace {

// How many of `tries` reports at `now` are admitted.
int admitted(ReportLimiter& sut, std::uint64_t now, int tries) {
  int count = 0;
  std::string text;
  for (int i = 0; i < tries; ++i) count += sut.admit(now, text) ? 1 : 0;
  return count;
}

std::string admittedText(ReportLimiter& sut, std::uint64_t now) {
  std::string text = "report";
  EXPECT_TRUE(sut.admit(now, text));
  return text;
}

TEST(ReportLimiter, AdmitsTenAtOnce) {
  ReportLimiter sut;

  EXPECT_EQ(admitted(sut, 0, 100), 10);
}

TEST(ReportLimiter, AdmitsTenAtOnceHoweverLateTheFirstOneIs) {
  ReportLimiter sut;

  EXPECT_EQ(admitted(sut, 123456789012345u, 100), 10);
}

TEST(ReportLimiter, AdmitsOneASecondAfterThat) {
  ReportLimiter sut;
  ASSERT_EQ(admitted(sut, 5000, 10), 10);

  EXPECT_EQ(admitted(sut, 5999, 5), 0);
  EXPECT_EQ(admitted(sut, 6000, 5), 1);
  EXPECT_EQ(admitted(sut, 6999, 5), 0);
  EXPECT_EQ(admitted(sut, 9000, 5), 3);
}

TEST(ReportLimiter, ForgetsNoPartOfASecond) {
  ReportLimiter sut;
  ASSERT_EQ(admitted(sut, 0, 10), 10);

  EXPECT_EQ(admitted(sut, 1900, 5), 1);
  EXPECT_EQ(admitted(sut, 2000, 5), 1);
}

TEST(ReportLimiter, SavesNoMoreThanTen) {
  ReportLimiter sut;
  ASSERT_EQ(admitted(sut, 0, 10), 10);

  EXPECT_EQ(admitted(sut, 3600 * 1000, 100), 10);
}

TEST(ReportLimiter, LeavesTheTextAloneWhenNothingWasHeldBack) {
  ReportLimiter sut;

  EXPECT_EQ(admittedText(sut, 0), "report");
}

TEST(ReportLimiter, LeavesTheTextOfARefusedReportAlone) {
  ReportLimiter sut;
  ASSERT_EQ(admitted(sut, 0, 10), 10);
  std::string text = "report";

  EXPECT_FALSE(sut.admit(0, text));

  EXPECT_EQ(text, "report");
}

TEST(ReportLimiter, TellsOnceHowManyWereHeldBack) {
  ReportLimiter sut;
  ASSERT_EQ(admitted(sut, 0, 13), 10);

  EXPECT_EQ(admittedText(sut, 2000), "report (3 more reports were held back)");
  EXPECT_EQ(admittedText(sut, 2000), "report");
}

}  // namespace
}  // namespace velp::test
