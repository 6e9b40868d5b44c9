// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Services and clients that are killed at a bad moment: what the others say, and what is left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "process/ReportFixture.h"
#include "support/fixedTexts.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

void killAndReap(ChildProcess& process) {
  process.kill(SIGKILL);
  EXPECT_EQ(process.waitForEnd(), -SIGKILL);
}

// The programs of the report service come with the fixture.
struct KilledPrograms : ReportPrograms {
  KilledPrograms() {
    std::ofstream(log) << "2026-11-01 10:00:00 install tar:amd64 <none> 1\n"
                          "2026-11-01 10:00:01 install bash:amd64 <none> 1\n";
  }

  Words eventService(const Words& options = {}) const {
    return joined(
        {VELP_BIN "event-service", "--bus", bus.address(), "--log", log, "--store", store},
        options);
  }
  Words eventClient(const Words& options = {}) const {
    return joined({VELP_BIN "event-client", "--bus", bus.address()}, options);
  }
  Words faultService() const {
    return {VELP_BIN "fault-service", "--bus", bus.address(), "--records", records};
  }

  // What the client prints, with its exit status in front.
  std::string askForEvents(const Words& options = {}) const {
    ChildProcess client(eventClient(options));
    const int status = client.waitForEnd();
    return std::to_string(status) + ": " + client.out() + client.err();
  }

  std::vector<std::string> recordLines() const {
    std::vector<std::string> lines;
    std::ifstream file(records);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  std::string log = files.getPath() + "/dpkg.log";
  std::string store = files.getPath() + "/events.db";
  std::string journal = store + "-journal";
  std::string records = files.getPath() + "/faults.log";
};

TEST_F(KilledPrograms, EventServiceInARequestLeavesATimeOutAndThenItsAbsence) {
  ChildProcess service(eventService({"--delay", "600000"}));
  ASSERT_TRUE(service.waitForLine("ready"));
  ChildProcess client(eventClient({"--timeout", "1"}));
  ASSERT_TRUE(service.waitForLine("serving EventClient"));

  killAndReap(service);

  EXPECT_EQ(client.waitForEnd(), 6);
  EXPECT_THAT(client.err(),
              HasSubstr("EventService took the request, but has not answered for 1 s (-2)"));
  EXPECT_THAT(askForEvents(),
              AllOf(StartsWith("3: "), HasSubstr("\nevent-client: EventService is not on ")));
  ChildProcess restarted(eventService());
  ASSERT_TRUE(restarted.waitForLine("ready: 2 events"));
  EXPECT_THAT(askForEvents(), EndsWith("2026-11-01 10:00:01  install  bash:amd64     1\n"));
}

struct KilledRemoval : KilledPrograms {
  // Kills the service as soon as the journal of its transaction is there. Returns whether that was
  // in time: the end of the journal is the end of the transaction.
  bool killInTransaction() {
    std::filesystem::remove(store);
    std::filesystem::remove(journal);
    ChildProcess service(eventService());
    EXPECT_TRUE(service.waitForLine("ready: 2 events"));
    ChildProcess client(eventClient({"--remove-all", "--timeout", "1"}));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!std::filesystem::exists(journal) && std::chrono::steady_clock::now() < end) {
    }
    killAndReap(service);
    if (!std::filesystem::exists(journal)) return false;
    EXPECT_EQ(client.waitForEnd(), 6);
    return true;
  }
};

TEST_F(KilledRemoval, IsUndoneByTheRestartedService) {
  bool killed = false;
  for (int i = 0; i < 50 && !killed; ++i) killed = killInTransaction();
  ASSERT_TRUE(killed) << "every removal was quicker than its kill";

  ChildProcess restarted(eventService());
  ASSERT_TRUE(restarted.waitForLine("ready: 2 events"));

  EXPECT_THAT(askForEvents({"--remove-all"}),
              AllOf(StartsWith("0: "), EndsWith("\nEventService removed 2 events\n")));
}

TEST_F(KilledPrograms, EventClientInARemovalDoesNotStopItNorTheService) {
  ChildProcess service(eventService({"--delay", "1000"}));
  ASSERT_TRUE(service.waitForLine("ready"));
  ChildProcess client(eventClient({"--remove-text", "bash"}));
  ASSERT_TRUE(service.waitForLine("serving EventClient"));

  killAndReap(client);

  ASSERT_TRUE(service.waitForLine("EventClient has gone, its answer is dropped"));
  EXPECT_EQ(askForEvents(),
            "0: TIME                 ACTION   SUBJECT    CODE\n"
            "2026-11-01 10:00:00  install  tar:amd64     1\n");
}

// The test process files the records.
struct KilledFaultService : KilledPrograms {
  static bool sendFault(int number) {
    return VelpMsgSender::getInstance()->sendSysMsgErrorLog(
        static_cast<faultCode_t>(7), "disk", true, "number " + std::to_string(number) + " end");
  }
  // Files records until one is refused; returns how many were taken.
  static int fileUntilRefused() {
    for (int number = 0;; ++number) {
      if (!sendFault(number)) return number;
    }
  }

  Joined here{bus.address()};
};

TEST_F(KilledFaultService, KeepsWholeRecordsInOrderAndIsAbsentUntilItIsRestarted) {
  int taken = 0;
  {
    ChildProcess service(faultService());
    ASSERT_TRUE(service.waitForLine("ready: 0 records"));
    std::future<int> filing = std::async(std::launch::async, fileUntilRefused);
    ASSERT_TRUE(service.waitForLine("number 1 end"));
    killAndReap(service);
    taken = filing.get();
  }
  EXPECT_FALSE(sendFault(0));

  ChildProcess restarted(faultService());
  ASSERT_TRUE(restarted.waitForLine("ready: "));
  const std::vector<std::string> kept = recordLines();
  EXPECT_THAT(restarted.out(), HasSubstr("ready: " + std::to_string(kept.size()) + " records in "));
  // Those that were taken and not yet read are lost with the process.
  EXPECT_GE(kept.size(), 2U);
  EXPECT_LE(kept.size(), static_cast<std::size_t>(taken));
  for (std::size_t i = 0; i < kept.size(); ++i) {
    EXPECT_THAT(kept[i], EndsWith("info=\"number " + std::to_string(i) + " end\""));
  }
  EXPECT_TRUE(sendFault(0));
  ASSERT_TRUE(restarted.waitForLine("number 0 end"));
  EXPECT_THAT(recordLines(), SizeIs(kept.size() + 1));
}

TEST_F(KilledPrograms, FaultServiceDoesNotKeepTheReportServiceFromItsWork) {
  ChildProcess faults(faultService());
  ASSERT_TRUE(faults.waitForLine("ready"));
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));
  std::filesystem::remove(output);
  killAndReap(faults);

  EXPECT_EQ(ask(), 2);
  EXPECT_THAT(err, HasSubstr("(error 11)\n"));
  EXPECT_TRUE(service.waitForLine(filled(texts::faultSent, 0, texts::faultManagement, "")));
  ChildProcess restarted(faultService());
  ASSERT_TRUE(restarted.waitForLine("ready"));
  std::filesystem::create_directory(output);
  EXPECT_EQ(ask(), 0) << err;

  ASSERT_TRUE(restarted.waitForLine("info=\"reports work again\""));
  EXPECT_THAT(recordLines(), ElementsAre(HasSubstr(" active=0 "))) << "the first found nobody";
}

TEST_F(KilledPrograms, ReportServiceLosesNoRecordThatItHasFiled) {
  ChildProcess faults(faultService());
  ASSERT_TRUE(faults.waitForLine("ready"));
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));
  std::filesystem::remove(output);
  faults.kill(SIGSTOP);

  EXPECT_EQ(ask(), 2);
  killAndReap(service);
  faults.kill(SIGCONT);

  ASSERT_TRUE(faults.waitForLine("ReportService code=1001 active=1 "));
}

}  // namespace
}  // namespace velp::test
