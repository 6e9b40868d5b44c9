// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The example's log reader.
#include "../../examples/events/PackageLog.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace velp::test {
namespace {

PackageLog read(const std::string& text) {
  std::istringstream lines(text);
  return readPackageLog(lines);
}

// The text form of the one event in a log line.
std::string eventOf(const std::string& line) {
  const PackageLog log = read(line + "\n");
  return log.events.size() == 1 ? log.events[0].getEventInfo() : "skipped";
}

TEST(PackageLog, ReadsEveryActionOfThePackageManager) {
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 install a:amd64 <none> 1"),
            "20261121062931;install=a:amd64;1;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 upgrade a:amd64 1 2"),
            "20261121062931;upgrade=a:amd64;2;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 remove a 1 <none>"), "20261121062931;remove=a;3;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 purge a 1 <none>"), "20261121062931;purge=a;4;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 configure a 1 <none>"), "20261121062931;configure=a;5;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 trigproc a 1 <none>"), "20261121062931;trigproc=a;6;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 startup archives unpack"),
            "20261121062931;startup=archives;7;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 status installed a 1"), "20261121062931;installed=a;8;");
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 conffile /etc/a keep"),
            "20261121062931;conffile=/etc/a;9;");
}

TEST(PackageLog, CountsAndSkipsLinesInAnUnknownForm) {
  const std::vector<std::string> lines = {"",
                                          "hello",
                                          "2026-11-21 06:29:31 frobnicate a 1",
                                          "2026-11-21 06:29:31 install",
                                          "2026-11-21 06:29:31 status installed",
                                          "2026-11-21 06:29 install a 1",
                                          "21.11.2026 06:29:31 install a 1"};
  for (const std::string& line : lines) {
    EXPECT_EQ(eventOf(line), "skipped") << line;
    EXPECT_EQ(read(line + "\n").skipped, 1u) << line;
  }
}

TEST(PackageLog, ReplacesWhatAnEventListCannotCarry) {
  EXPECT_EQ(eventOf("2026-11-21 06:29:31 install a;b\x01"
                    "c 1 2"),
            "20261121062931;install=a_b_c;1;");
}

TEST(PackageLog, GeneratesOnlyLinesThatItKnows) {
  const PackageLog log = read(generatePackageLog());

  EXPECT_EQ(log.events.size(), 24u);
  EXPECT_EQ(log.skipped, 0u);
}

TEST(PackageLog, KeepsTheMostRecentEvents) {
  PackageLog log = read(generatePackageLog());
  const std::string last = log.events.back().getEventInfo();

  EXPECT_EQ(keepMostRecent(log.events, 3), 0u);

  ASSERT_EQ(log.events.size(), 3u);
  EXPECT_EQ(log.events.back().getEventInfo(), last);
}

TEST(PackageLog, KeepsAsMuchAsTheListTextHoldsToTheByte) {
  // "1;" + text + ";0;" with its blank: 256 bytes each, one blank less for the first.
  VelpMsgReqGetEventList::Event event;
  event.number = 1;
  event.text = std::string(250, 'x');
  std::vector<VelpMsgReqGetEventList::Event> events(257, event);

  EXPECT_EQ(keepMostRecent(events, 257), 1u);

  EXPECT_EQ(events.size(), 256u);
  VelpMsgReqGetEventList list;
  list.events = events;
  std::vector<unsigned char> payload;
  EXPECT_EQ(list.setResponseData(payload), 5u + 65535u);
}

}  // namespace
}  // namespace velp::test
