// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How request states are written.
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

#include "support/fixedTexts.h"
#include "velpmsg/VelpMsgHandler.h"

namespace {

namespace texts = velp::test::texts;

std::string written(requestState_t state) {
  std::ostringstream os;
  os << state;
  return os.str();
}

TEST(RequestState, HasTheFourAgreedValues) {
  EXPECT_EQ(NOT_AVAILABLE, 0u);
  EXPECT_EQ(AVAILABLE, 1u);
  EXPECT_EQ(BUSY, 2u);
  EXPECT_EQ(INVALID, 3u);
  EXPECT_EQ(sizeof(requestState_t), 4u);
}

TEST(RequestState, IsWrittenByName) {
  EXPECT_EQ(written(requestState_t(0)), texts::states[NOT_AVAILABLE]);
  EXPECT_EQ(written(requestState_t(1)), texts::states[AVAILABLE]);
  EXPECT_EQ(written(requestState_t(2)), texts::states[BUSY]);
  EXPECT_EQ(written(requestState_t(3)), texts::states[INVALID]);
}

TEST(RequestState, IsWrittenAsANumberWhenItHasNoName) {
  EXPECT_EQ(written(requestState_t(4)), "unknown(4)");
  EXPECT_EQ(written(requestState_t(4294967295)), "unknown(-1)");
}

TEST(RequestState, IsWrittenWithoutFillCharacters) {
  std::ostringstream os;

  os << std::setw(20) << std::setfill('*') << BUSY;

  EXPECT_EQ(os.str(), texts::states[BUSY]);
}

TEST(RequestState, ReturnsTheStreamItIsWrittenTo) {
  std::ostringstream os;

  EXPECT_EQ(&(os << BUSY), &os);
  EXPECT_EQ(&(os << requestState_t(4)), &os);
}

}  // namespace
