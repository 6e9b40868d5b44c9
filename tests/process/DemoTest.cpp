// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The demo as a newcomer runs it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"

namespace velp::test {
namespace {

using testing::HasSubstr;
using testing::Not;

struct Demo : testing::Test {
  // A log of the test's own, so that the table is known.
  Demo() {
    std::ofstream(logFile) << "2026-11-01 10:00:00 install tar:amd64 <none> 1.34\n"
                              "2026-11-01 10:00:01 status installed tar:amd64 1.34\n"
                              "a line in another form\n";
  }

  std::vector<std::string> command(const std::string& log) const {
    return {VELP_DEMO, VELP_BIN, log};
  }

  ScratchDirectory logs;
  std::string logFile = logs.getPath() + "/dpkg.log";
  ScratchDirectory temporary;
  std::vector<std::string> environment = {"TMPDIR=" + temporary.getPath()};
};

TEST_F(Demo, ShowsTheAnswerTheRefusalsAndTheTimeOut) {
  ChildProcess demo(command(logFile), environment);

  EXPECT_EQ(demo.waitForEnd(), 0);

  EXPECT_EQ(demo.err(), "");
  EXPECT_THAT(demo.out(), HasSubstr("2026-11-01 10:00:01  installed  tar:amd64     8\n"));
  EXPECT_THAT(demo.out(), HasSubstr("skipped 1 of 3 lines"));
  EXPECT_THAT(demo.out(), HasSubstr("(error 7: busy)"));
  EXPECT_THAT(demo.out(), HasSubstr("(error 1: not available)"));
  EXPECT_THAT(demo.out(), HasSubstr("(-2)"));
  EXPECT_THAT(demo.out(), HasSubstr("(-1)"));
  EXPECT_THAT(demo.out(), HasSubstr("EventService removed 1 events"));
  const std::string end = demo.out().substr(demo.out().find("EventService removed"));
  EXPECT_THAT(end, HasSubstr("2026-11-01 10:00:00  install  tar:amd64     1\n"));
  EXPECT_THAT(end, Not(HasSubstr("installed  tar")));
  EXPECT_THAT(demo.out(), HasSubstr("Everything happened as announced."));
}

TEST_F(Demo, LeavesNothingBehind) {
  ChildProcess demo(command(logFile), environment);

  demo.waitForEnd();

  EXPECT_TRUE(temporary.isEmpty());
  EXPECT_TRUE(demo.groupEnds());
}

TEST_F(Demo, LeavesNothingBehindWhenInterrupted) {
  ChildProcess demo(command(logFile), environment);
  ASSERT_TRUE(demo.waitForLine("service | serving"));

  demo.killGroup(SIGINT);

  EXPECT_EQ(demo.waitForEnd(), 130);
  EXPECT_TRUE(temporary.isEmpty());
  EXPECT_TRUE(demo.groupEnds());
  EXPECT_THAT(demo.out(), Not(HasSubstr("Everything happened as announced.")));
}

TEST_F(Demo, GeneratesALogOnAMachineWithoutOne) {
  ChildProcess demo(command(logs.getPath() + "/none"), environment);

  EXPECT_EQ(demo.waitForEnd(), 0);

  EXPECT_EQ(demo.err(), "");
  EXPECT_THAT(demo.out(), HasSubstr("/none cannot be read: serving a generated log\n"));
  EXPECT_THAT(demo.out(), HasSubstr("2026-11-01 10:05:21  installed  zlib1g:amd64"));
}

TEST_F(Demo, FailsWhenAProgramDoesNotDoAsAnnounced) {
  ChildProcess demo({VELP_DEMO, temporary.getPath(), logFile}, environment);

  EXPECT_EQ(demo.waitForEnd(), 1);

  EXPECT_THAT(demo.err(), HasSubstr("demo: not as announced: the service has ended"));
  EXPECT_TRUE(temporary.isEmpty());
}

}  // namespace
}  // namespace velp::test
