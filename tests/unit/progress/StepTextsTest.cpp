// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The table of step texts, entry by entry: indexes mean the same to every requester.
#include "velpmsg/StepTexts.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "support/fixedTexts.h"

namespace velp::test {
namespace {

TEST(StepTexts, AreThirtyFour) {
  EXPECT_EQ(stepTextCount, 34u);
  EXPECT_EQ(sizeof stepTexts / sizeof stepTexts[0], 34u);
}

TEST(StepTexts, StandInTheAgreedOrderLetterByLetter) {
  EXPECT_EQ(std::vector<std::string>(std::begin(stepTexts), std::end(stepTexts)),
            std::vector<std::string>(std::begin(texts::steps), std::end(texts::steps)));
}

TEST(StepTexts, BeginWithNoInfoAndEndWithSuccess) {
  EXPECT_STREQ(stepTexts[0], texts::steps[0]);
  EXPECT_STREQ(stepTexts[33], texts::steps[33]);
}

}  // namespace
}  // namespace velp::test
