// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The message that carries a fault record.
#include "velp/message/SystemMessage.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(SystemMessage, KeepsItsTextAndNumber) {
  const SystemMessage sut("fault", 10);

  EXPECT_EQ(sut.getText(), "fault");
  EXPECT_EQ(sut.getNumber(), 10u);
}

TEST(SystemMessage, DiffersInTextOrNumber) {
  const SystemMessage sut("fault", 10);

  EXPECT_TRUE(sut == SystemMessage("fault", 10));
  EXPECT_FALSE(sut == SystemMessage("Fault", 10));
  EXPECT_FALSE(sut == SystemMessage("fault", 11));
}

TEST(SystemMessage, IsWrittenWithItsTextEscaped) {
  std::ostringstream os;

  os << SystemMessage("disk\nfull", 10);

  EXPECT_EQ(os.str(), "{system message, number 10, text \"disk\\x0afull\"}");
}

}  // namespace
