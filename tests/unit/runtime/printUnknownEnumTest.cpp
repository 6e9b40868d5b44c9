// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How enumeration values without a name are written.
#include "velp/runtime/printUnknownEnum.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <limits>
#include <sstream>

TEST(PrintUnknownEnum, WritesTheNumber) {
  std::ostringstream os;

  printUnknownEnum(os, 77);
  printUnknownEnum(os, 0);
  printUnknownEnum(os, std::numeric_limits<int>::min());

  EXPECT_EQ(os.str(), "unknown(77)unknown(0)unknown(-2147483648)");
}

TEST(PrintUnknownEnum, IsDecimalWhateverTheFlags) {
  std::ostringstream os;
  os << std::hex << std::showbase << std::showpos;

  printUnknownEnum(os, 255);

  EXPECT_EQ(os.str(), "unknown(255)");
}

TEST(PrintUnknownEnum, WidthCountsForTheWholeText) {
  std::ostringstream os;
  os << std::setw(12);

  printUnknownEnum(os, 5);

  EXPECT_EQ(os.str(), "  unknown(5)");
}
