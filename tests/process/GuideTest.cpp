// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The programs of the guide do what the guide says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"
#include "support/fixedTexts.h"

namespace velp::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

struct Guide : testing::Test {
  // The service's command line, which ends with the limit and the pace.
  std::vector<std::string> service(const std::string& limit = "1000",
                                   const std::string& pace = "0") const {
    return {VELP_BIN "note-service", bus.address(), file, limit, pace};
  }

  std::vector<std::string> client(const std::vector<std::string>& words) const {
    std::vector<std::string> command = {VELP_BIN "note-client", bus.address()};
    command.insert(command.end(), words.begin(), words.end());
    return command;
  }

  // Runs a client; returns its exit status.
  int ask(const std::vector<std::string>& words) {
    ChildProcess process(client(words));
    const int status = process.waitForEnd();
    out = process.out();
    err = process.err();
    return status;
  }

  std::string exported() const {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  PrivateBus bus;
  std::string file = bus.getPath() + "/notes.txt";
  std::string out;
  std::string err;
};

TEST_F(Guide, ServiceAddsGetsAndListsNotes) {
  ChildProcess running(service());
  ASSERT_TRUE(running.waitForLine("ready"));

  EXPECT_EQ(ask({"add", "buy milk"}), 0);
  EXPECT_EQ(out, "1\n");
  EXPECT_EQ(ask({"add", "call; home"}), 0);
  EXPECT_EQ(out, "2\n");
  EXPECT_EQ(ask({"get", "2"}), 0);
  EXPECT_EQ(out, "call; home\n");
  EXPECT_EQ(ask({"list"}), 0);
  EXPECT_EQ(out, "1 buy_milk\n2 call__home\n");
}

TEST_F(Guide, ServiceRemovesNotes) {
  ChildProcess running(service());
  ASSERT_TRUE(running.waitForLine("ready"));
  for (const char* text : {"one", "two", "three"}) EXPECT_EQ(ask({"add", text}), 0);

  EXPECT_EQ(ask({"remove", "2", "3"}), 0);
  EXPECT_EQ(out, "2\n");
  EXPECT_EQ(ask({"list"}), 0);
  EXPECT_EQ(out, "1 one\n");
  EXPECT_EQ(ask({"clear"}), 0);
  EXPECT_THAT(out, EndsWith("\n1\n"));
  EXPECT_EQ(ask({"list"}), 0);
  EXPECT_EQ(out, "");
}

TEST_F(Guide, ServiceRefusesWhatItCannotDo) {
  ChildProcess running(service());
  ASSERT_TRUE(running.waitForLine("ready"));

  EXPECT_EQ(ask({"get", "7"}), 2);
  EXPECT_EQ(err, "note-client: error 100: no such note\n");
  EXPECT_EQ(ask({"add", ""}), 2);
  EXPECT_EQ(err, "note-client: error 103: a note is a text that is not empty\n");
}

TEST_F(Guide, FullServiceTakesNoMoreUntilSomethingIsRemoved) {
  ChildProcess running(service("1"));
  ASSERT_TRUE(running.waitForLine("ready"));

  EXPECT_EQ(ask({"add", "one"}), 0);
  EXPECT_EQ(ask({"add", "two"}), 2);
  EXPECT_EQ(err, "note-client: error 1: \n");
  EXPECT_EQ(ask({"clear"}), 0);
  EXPECT_EQ(ask({"add", "two"}), 0);
}

TEST_F(Guide, ServiceExportsNotes) {
  ChildProcess running(service());
  ASSERT_TRUE(running.waitForLine("ready"));
  for (const char* text : {"one", "two"}) EXPECT_EQ(ask({"add", text}), 0);

  EXPECT_EQ(ask({"export"}), 0);

  EXPECT_EQ(exported(), "1 one\n2 two\n");
  EXPECT_THAT(out, HasSubstr(file + "\n"));
}

TEST_F(Guide, ClientSeesTheStepsOfASlowExport) {
  ChildProcess running(service("1000", "300"));
  ASSERT_TRUE(running.waitForLine("ready"));
  for (const char* text : {"one", "two"}) EXPECT_EQ(ask({"add", text}), 0);
  ChildProcess watching(client({"export"}));

  EXPECT_TRUE(watching.waitForLine(std::string("0 % ") + texts::steps[13]));
  EXPECT_TRUE(watching.waitForLine("0 % 1 of 2 notes"));
  EXPECT_TRUE(watching.waitForLine(std::string("47 % ") + texts::steps[13]));
  EXPECT_EQ(watching.waitForEnd(), 0);
}

TEST_F(Guide, FailedExportIsAnErrorAndAFault) {
  file = bus.getPath() + "/none/notes.txt";
  ChildProcess faults({VELP_BIN "fault-service", "--bus", bus.address(), "--records",
                       bus.getPath() + "/faults.log"});
  ASSERT_TRUE(faults.waitForLine("ready"));
  ChildProcess running(service());
  ASSERT_TRUE(running.waitForLine("ready"));

  EXPECT_EQ(ask({"export"}), 2);

  EXPECT_EQ(err, "note-client: error 101: cannot write " + file + "\n");
  EXPECT_TRUE(faults.waitForLine("NoteService code=1003 active=1 time=0 source=\"NoteService\""));
}

TEST_F(Guide, ClientTellsThatTheServiceIsAbsent) {
  EXPECT_EQ(ask({"list"}), 3);
  EXPECT_THAT(err, HasSubstr("NoteService is not on the bus"));
}

TEST_F(Guide, ServiceFinishesTheExportWhenItIsEnded) {
  ChildProcess running(service("1000", "600000"));
  ASSERT_TRUE(running.waitForLine("ready"));
  EXPECT_EQ(ask({"add", "one"}), 0);
  ChildProcess watching(client({"export"}));
  ASSERT_TRUE(watching.waitForLine(std::string("0 % ") + texts::steps[13]));

  running.kill(SIGTERM);

  EXPECT_EQ(running.waitForEnd(), 0);
  EXPECT_EQ(watching.waitForEnd(), 0);
  EXPECT_EQ(exported(), "1 one\n");
}

TEST_F(Guide, ServiceNamesABusThatItCannotJoin) {
  ChildProcess running({VELP_BIN "note-service", "no-bus"});

  EXPECT_EQ(running.waitForEnd(), 1);
  EXPECT_THAT(running.err(), HasSubstr("no-bus"));
}

TEST_F(Guide, TestFindsTheServiceRight) {
  ChildProcess test({VELP_BIN "note-test"});

  EXPECT_EQ(test.waitForEnd(), 0);
  EXPECT_THAT(test.out(), EndsWith("all is well\n"));
  EXPECT_THAT(test.err(), Not(HasSubstr("wrong")));
}

}  // namespace
}  // namespace velp::test
