// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The fault service as a program: which records it keeps, and what a crash leaves of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"
#include "support/fixedTexts.h"
#include "velp/bus/Participant.h"
#include "velp/message/SystemMessage.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr const char* time = "20[0-9][0-9]-[0-9][0-9]-[0-9][0-9]T[0-9:]{8}[.][0-9][0-9][0-9]Z ";

struct FaultPrograms : testing::Test {
  std::vector<std::string> command() const {
    return {VELP_BIN "fault-service", "--bus", bus.address(), "--records", file};
  }

  static bool sendFault(const std::string& info) {
    return VelpMsgSender::getInstance()->sendSysMsgErrorLog(static_cast<faultCode_t>(7), "disk",
                                                            true, info);
  }

  std::vector<std::string> lines() const {
    std::vector<std::string> all;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) all.push_back(line);
    return all;
  }

  void write(const std::string& text) const { std::ofstream(file) << text; }

  PrivateBus bus;
  std::string file = bus.getPath() + "/faults.log";
  Joined joined{bus.address()};
};

TEST_F(FaultPrograms, KeepARecordThatAnotherProcessFiles) {
  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready: 0 records in " + file + ", as " + texts::faultManagement +
                                  " on local:"));

  EXPECT_TRUE(sendFault("no space"));

  const std::string kept = "Test code=7 active=1 time=0 source=\"disk\" info=\"no space\"";
  ASSERT_TRUE(service.waitForLine(kept));
  EXPECT_THAT(lines(), ElementsAre(MatchesRegex(time + kept)));
  EXPECT_THAT(service.out(), EndsWith(lines().at(0) + '\n'));
}

TEST_F(FaultPrograms, KeepRecordsThroughAKillAndARestart) {
  {
    ChildProcess service(command());
    ASSERT_TRUE(service.waitForLine("ready"));
    EXPECT_TRUE(sendFault("before"));
    ASSERT_TRUE(service.waitForLine("before"));
    service.kill(SIGKILL);
    EXPECT_EQ(service.waitForEnd(), -SIGKILL);
  }

  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready: 1 records"));
  EXPECT_TRUE(sendFault("after"));
  ASSERT_TRUE(service.waitForLine("after"));

  EXPECT_THAT(lines(), ElementsAre(HasSubstr("info=\"before\""), HasSubstr("info=\"after\"")));
}

TEST_F(FaultPrograms, CutOffALineThatACrashHasTorn) {
  write("whole 1\nwhole 2\ntorn");

  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready: 2 records"));
  EXPECT_TRUE(sendFault("next"));
  ASSERT_TRUE(service.waitForLine("next"));
  service.kill(SIGTERM);
  EXPECT_EQ(service.waitForEnd(), 0);

  EXPECT_THAT(lines(), ElementsAre("whole 1", "whole 2", HasSubstr("info=\"next\"")));
  EXPECT_EQ(service.err(),
            "fault-service: cut off 4 bytes of an unfinished record at the end of " + file + "\n");
}

TEST_F(FaultPrograms, LeaveNothingOfALoneTornLine) {
  write("torn");

  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready: 0 records"));

  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(FaultPrograms, LetNoTextForgeALine) {
  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready"));
  const std::string forged =
      "x\n2026-01-01T00:00:00.000Z Other code=1\r\x1b[2J" + std::string("\0\xff", 2) + "\\ end";

  ASSERT_TRUE(
      VelpBusProxy::getInstance()->sendTo(texts::faultManagement, SystemMessage(forged, 10)));
  ASSERT_TRUE(service.waitForLine("end"));
  EXPECT_TRUE(sendFault("a\nb"));
  ASSERT_TRUE(service.waitForLine("a\\x0ab"));

  EXPECT_THAT(lines(), ElementsAre(EndsWith("Test x\\x0a2026-01-01T00:00:00.000Z Other "
                                            "code=1\\x0d\\x1b[2J\\x00\\xff\\ end"),
                                   EndsWith("info=\"a\\x0ab\"")));
  EXPECT_THAT(service.out(), Not(HasSubstr("\n2026-01-01")));
}

// A sender of the number given: `count` records, each offered until the bus takes it.
void sendMany(const std::string& address, int number, int count) {
  Participant sender;
  sender.connect("Sender" + std::to_string(number), address);
  for (int i = 0; i < count; ++i) {
    const std::string text = std::to_string(i) + ' ' + std::string(300, 'x') + " end";
    while (!sender.sendTo(texts::faultManagement, SystemMessage(text, 10)))
      std::this_thread::yield();
  }
}

TEST_F(FaultPrograms, KeepTheRecordsOfManySendersWholeAndInOrder) {
  constexpr int senders = 8;
  constexpr int count = 50;
  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready"));
  std::vector<std::thread> threads;

  for (int i = 0; i < senders; ++i) threads.emplace_back(sendMany, bus.address(), i, count);
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < senders * count; ++i) ASSERT_TRUE(service.waitForLine(" end"));

  std::vector<int> next(senders, 0);
  for (const std::string& line : lines()) {
    std::istringstream words(line);
    std::string when, sender, number, filling, end;
    ASSERT_TRUE(words >> when >> sender >> number >> filling >> end) << line;
    ASSERT_THAT(sender, StartsWith("Sender"));
    EXPECT_EQ(number, std::to_string(next.at(std::stoul(sender.substr(6)))++)) << line;
    EXPECT_EQ(filling + end, std::string(300, 'x') + "end");
  }
  EXPECT_THAT(next, testing::Each(count));
}

TEST_F(FaultPrograms, AreAbsentFromTheirSendersView) {
  EXPECT_FALSE(sendFault("too early"));

  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready"));
  EXPECT_TRUE(sendFault("in time"));
  ASSERT_TRUE(service.waitForLine("in time"));
  service.kill(SIGTERM);
  EXPECT_EQ(service.waitForEnd(), 0);

  EXPECT_FALSE(sendFault("too late"));
  EXPECT_THAT(lines(), ElementsAre(HasSubstr("in time")));
}

TEST_F(FaultPrograms, SayHowManyRecordsTheyHaveKeptAtTheEnd) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ChildProcess service(command());
    ASSERT_TRUE(service.waitForLine("ready"));
    for (const std::string text : {"first", "second"}) {
      EXPECT_TRUE(sendFault(text));
      ASSERT_TRUE(service.waitForLine(text));
    }

    service.kill(signal);

    EXPECT_EQ(service.waitForEnd(), 0);
    EXPECT_THAT(service.out(), EndsWith("ended: kept 2 records, could not keep 0\n"));
  }
  EXPECT_EQ(lines().size(), 4u);
}

TEST_F(FaultPrograms, GoOnWhenARecordCannotBeKeptAndLeaveNothingOfIt) {
  // The shell limits the size of files to 1 KiB, and takes the signal of those who exceed it away.
  std::vector<std::string> limited = {"/bin/bash", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"",
                                      "limited"};
  for (const std::string& word : command()) limited.push_back(word);
  ChildProcess service(limited);
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_TRUE(sendFault(std::string(2000, 'x')));
  EXPECT_TRUE(sendFault("short"));
  ASSERT_TRUE(service.waitForLine("short"));
  service.kill(SIGTERM);
  EXPECT_EQ(service.waitForEnd(), 0);

  EXPECT_THAT(lines(), ElementsAre(EndsWith("info=\"short\"")));
  EXPECT_THAT(service.err(), AllOf(HasSubstr("cannot write " + file), HasSubstr("not kept: 20")));
  EXPECT_THAT(service.out(), EndsWith("kept 1 records, could not keep 1\n"));
}

TEST_F(FaultPrograms, GoOnWhenNeitherARecordNorItsLossCanBeWritten) {
  std::vector<std::string> limited = {
      "/bin/bash", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\" 2>/dev/full", "limited"};
  for (const std::string& word : command()) limited.push_back(word);
  ChildProcess service(limited);
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_TRUE(sendFault(std::string(2000, 'x')));
  EXPECT_TRUE(sendFault("short"));
  ASSERT_TRUE(service.waitForLine("short"));
  service.kill(SIGTERM);

  EXPECT_EQ(service.waitForEnd(), 0);
  EXPECT_THAT(service.out(), EndsWith("kept 1 records, could not keep 1\n"));
}

// How a service that cannot start ends, and what it says.
struct FaultProgramsRefusal : FaultPrograms {
  std::string refusal() const {
    ChildProcess service(command());
    EXPECT_EQ(service.waitForEnd(), 1);
    return service.err();
  }
};

TEST_F(FaultProgramsRefusal, NamesAFileThatIsNone) {
  file = bus.getPath();
  EXPECT_THAT(refusal(), StartsWith("fault-service: cannot open " + file));
  file = "/dev/null";
  EXPECT_THAT(refusal(), StartsWith("fault-service: no ordinary file: /dev/null"));
}

TEST_F(FaultProgramsRefusal, NamesAFileThatIsInUse) {
  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_THAT(refusal(), StartsWith("fault-service: another process keeps records in " + file));
}

TEST_F(FaultProgramsRefusal, NamesTheProcessThatHoldsTheName) {
  ChildProcess service(command());
  ASSERT_TRUE(service.waitForLine("ready"));
  file += ".2";

  EXPECT_THAT(refusal(), HasSubstr(std::to_string(service.getPid())));
}

}  // namespace
}  // namespace velp::test
