// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The text of fault records.
#include "velp/runtime/FaultUtil.h"

#include <gtest/gtest.h>

namespace {

std::string record(const std::string& source, const std::string& info) {
  return FaultUtil::getSysMsgErrorLogString(faultCode_t{7}, source, true, info, 0);
}

}  // namespace

TEST(FaultUtil, NamesAllFields) {
  EXPECT_EQ(FaultUtil::getSysMsgErrorLogString(faultCode_t{4711}, "EventService", true, "disk full",
                                               1234567890123ULL),
            "code=4711 active=1 time=1234567890123 source=\"EventService\" info=\"disk full\"");
}

TEST(FaultUtil, FaultThatWentIsNotActive) {
  EXPECT_EQ(FaultUtil::getSysMsgErrorLogString(faultCode_t{1}, "", false, "", 0),
            "code=1 active=0 time=0 source=\"\" info=\"\"");
}

TEST(FaultUtil, LargestNumbersAreDecimal) {
  EXPECT_EQ(FaultUtil::getSysMsgErrorLogString(faultCode_t{4294967295U}, "", false, "", ~0ULL),
            "code=4294967295 active=0 time=18446744073709551615 source=\"\" info=\"\"");
}

TEST(FaultUtil, QuotesInTheTextsCannotForgeAField) {
  EXPECT_EQ(record("a\" info=\"forged", "x\"y"),
            "code=7 active=1 time=0 source=\"a\\x22 info=\\x22forged\" info=\"x\\x22y\"");
}

TEST(FaultUtil, ControlCharactersAndBackslashesAreEscaped) {
  EXPECT_EQ(record("a\nb", "c\\d\x80"),
            "code=7 active=1 time=0 source=\"a\\x0ab\" info=\"c\\x5cd\\x80\"");
}

TEST(FaultUtil, NulCharactersStayAsTheyAre) {
  EXPECT_EQ(record(std::string("a\0b", 3), std::string("\0", 1)),
            std::string("code=7 active=1 time=0 source=\"a\0b\" info=\"\0\"", 44));
}
