// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The report service and its client as programs: archives, progress, outcomes, refused paths.
#include <archive.h>
#include <archive_entry.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "process/ReportFixture.h"
#include "support/fixedTexts.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgSender.h"

namespace velp::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using Response = VelpClientMessageResponse;
using Contents = std::map<std::string, std::string>;

constexpr auto packID = static_cast<VelpClientMessageBase::velpMsgID_t>(1001);

Contents contentsOf(const std::string& path) {
  Contents contents;
  const std::unique_ptr<archive, int (*)(archive*)> reader(archive_read_new(), archive_read_free);
  archive_read_support_filter_gzip(reader.get());
  archive_read_support_format_tar(reader.get());
  EXPECT_EQ(archive_read_open_filename(reader.get(), path.c_str(), 10240), ARCHIVE_OK) << path;
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    std::string bytes(static_cast<std::size_t>(archive_entry_size(entry)), '\0');
    EXPECT_EQ(archive_read_data(reader.get(), bytes.data(), bytes.size()),
              static_cast<la_ssize_t>(bytes.size()));
    contents[archive_entry_pathname(entry)] = bytes;
  }
  return contents;
}

// What stands behind a label in the client's answer.
std::string answerPart(const std::string& out, const std::string& label) {
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(label + ": ", 0) == 0) return line.substr(label.size() + 2);
  }
  return {};
}

using Progress = std::vector<std::pair<int, std::string>>;

Progress progressIn(const std::string& text) {
  Progress progress;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    int percent = 0;
    int length = 0;
    if (std::sscanf(line.c_str(), "%d %%  %n", &percent, &length) == 1 && length > 0) {
      progress.emplace_back(percent, line.substr(static_cast<std::size_t>(length)));
    }
  }
  return progress;
}

TEST_F(ReportPrograms, PackEveryRegularFileBelowTheSource) {
  const Contents wanted = {{"a.log", write("a.log", 100'000)},
                           {"empty", write("empty", 0)},
                           {"sub/deep/b.log", write("sub/deep/b.log", 12'345)},
                           {"sub/\xc3\xb6 name", write("sub/\xc3\xb6 name", 3)}};
  ASSERT_EQ(mkfifo((source + "/pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("/etc/passwd", source + "/link");
  std::filesystem::create_directory_symlink("/etc", source + "/linked");
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready: packs " + source + " into " + output));

  EXPECT_EQ(ask(), 0) << err;

  const std::string archive = answerPart(out, "archive");
  EXPECT_THAT(archive, testing::MatchesRegex(output + "/report-[0-9]{8}-[0-9]{6}\\.tar\\.gz"));
  EXPECT_EQ(answerPart(out, "size"),
            std::to_string(std::filesystem::file_size(archive)) + " bytes");
  EXPECT_EQ(answerPart(out, "files"), "4");
  EXPECT_THAT(err, HasSubstr("report-client: ReportService's report is whole\n"));
  EXPECT_EQ(contentsOf(archive), wanted);
  EXPECT_THAT(outputs(".part"), IsEmpty());
}

TEST_F(ReportPrograms, PackOnlyTheDirectoryAskedFor) {
  write("a.log", 1);
  const std::string b = write("sub/b.log", 2);
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));

  for (const char* path : {"sub", "./sub//", "/sub"}) {
    const std::string asked = *path == '/' ? source + path : path;
    EXPECT_EQ(ask({asked}), 0) << err;
    EXPECT_THAT(contentsOf(answerPart(out, "archive")), ElementsAre(Pair("sub/b.log", b)));
  }
}

TEST_F(ReportPrograms, GiveEachArchiveANameOfItsOwnAlsoWithinASecond) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));

  for (int i = 0; i < 5; ++i) EXPECT_EQ(ask(), 0) << err;

  EXPECT_EQ(outputs(".tar.gz").size(), 5U);
}

TEST_F(ReportPrograms, ShowProgressThatNeverGoesDownAndStaysAtTheCeilingUntilTheEnd) {
  for (int i = 0; i < 40; ++i) write("file" + std::to_string(i), 10'000);
  ChildProcess service(serviceCommand({"--tick", "5", "--pace", "800"}));
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(ask(), 0) << err;

  const Progress progress = progressIn(err);
  ASSERT_GE(progress.size(), 12U) << err;
  EXPECT_EQ(progress.front(), std::make_pair(0, steps::checking));
  EXPECT_EQ(progress.back(), std::make_pair(100, steps::finished));
  const auto lower = [](const auto& a, const auto& b) { return a.first < b.first; };
  EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end(), lower)) << err;
  for (const auto& [percent, text] : progress) {
    EXPECT_LE(percent, text == steps::finished ? 100 : 90) << text;
  }
}

TEST_F(ReportPrograms, NameTheStepsInTheirOrder) {
  write("only.log", 100'000);
  ChildProcess service(serviceCommand({"--tick", "0"}));
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(ask(), 0) << err;

  std::vector<std::string> shown;
  for (const auto& [percent, text] : progressIn(err)) {
    if (shown.empty() || shown.back() != text) shown.push_back(text);
  }
  EXPECT_THAT(shown,
              ElementsAre(steps::checking, steps::preparing, steps::packing, "Packing only.log",
                          steps::syncing, steps::synced, steps::finished));
}

TEST_F(ReportPrograms, FillTheTimeWithTicksThatDoNotOutrunTrueProgress) {
  write("big", 64 * 1024);
  ChildProcess service(serviceCommand({"--tick", "5", "--pace", "1"}));
  ASSERT_TRUE(service.waitForLine("ready"));
  ChildProcess client(watchedClient());

  // A quarter is read at once: 5 + 85 / 4 percent. The next is due at 30, which a tick would pass.
  ASSERT_TRUE(client.waitForLine("26 %  Packing big"));
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(client.waitForLine("26 %  " + steps::packing));
}

TEST_F(ReportPrograms, RefuseASecondRequestWhileTheFirstIsServed) {
  write("big", 64 * 1024);
  ChildProcess service(serviceCommand({"--pace", "1"}));
  ASSERT_TRUE(service.waitForLine("ready"));
  ChildProcess client(watchedClient());
  ASSERT_TRUE(client.waitForLine(packingBegun));

  EXPECT_EQ(ask({"--name", "Second"}), 5);
  EXPECT_EQ(err,
            "report-client: ReportService is still making an earlier report (error 7): try again "
            "later\n");
}

TEST_F(ReportPrograms, CountAndNameWhatCannotBeRead) {
  const std::string a = write("a.log", 10);
  write("secret.log", 10);
  write("closed/c.log", 10);
  chmod((source + "/secret.log").c_str(), 0);
  chmod((source + "/closed").c_str(), 0);
  // Root reads everything, unless it gives up that right.
  const Words prefix =
      geteuid() != 0 ? Words{}
                     : Words{"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search"};
  ChildProcess service(joined(prefix, serviceCommand()));
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(ask(), 0) << err;
  service.kill(SIGTERM);
  EXPECT_EQ(service.waitForEnd(), 0);
  chmod((source + "/closed").c_str(), 0700);

  EXPECT_THAT(err, HasSubstr("'s report lacks 2 unreadable files or directories\n"));
  EXPECT_EQ(answerPart(out, "files"), "1");
  EXPECT_THAT(contentsOf(answerPart(out, "archive")), ElementsAre(Pair("a.log", a)));
  EXPECT_THAT(service.err(), HasSubstr("left out secret.log: Permission denied\n"));
  EXPECT_THAT(service.err(), HasSubstr("left out closed: the directory cannot be opened\n"));
}

TEST_F(ReportPrograms, RefusePathsThatLeadOutOfTheSource) {
  write("sub/a.log", 1);
  std::filesystem::create_directory(source + "-twin");
  std::filesystem::create_directory_symlink(output, source + "/link");
  std::filesystem::create_directory_symlink(source + "/sub", source + "/inward");
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));

  const Words outside = {"..",   "sub/../..",      "/",
                         "/etc", source + "-twin", source + "/../output",
                         "link", "link/.",         source + "/inward"};
  for (const std::string& path : outside) {
    EXPECT_EQ(ask({"--", path}), 2) << path;
    EXPECT_THAT(err, HasSubstr("ReportService made no report: the path ")) << path;
    EXPECT_THAT(err, HasSubstr(" (error 9)\n")) << path;
  }
  EXPECT_THAT(outputs(""), IsEmpty());
}

TEST_F(ReportPrograms, RefusePathsThatAreNoDirectory) {
  write("file", 1);
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(ask({"none"}), 2);
  EXPECT_THAT(err, HasSubstr("cannot open the directory: No such file or directory (error 10)\n"));
  EXPECT_EQ(ask({"file"}), 2);
  EXPECT_THAT(err, HasSubstr("cannot open the directory: Not a directory (error 10)\n"));
}

TEST_F(ReportPrograms, RefusePayloadsThatAreNoPath) {
  ChildProcess service(serviceCommand({"--tick", "0"}));
  ASSERT_TRUE(service.waitForLine("ready"));
  Joined here(bus.address());

  const std::vector<unsigned char> tooLong = [] {
    std::vector<unsigned char> payload(2 + 0xffff, 'a');
    payload[0] = payload[1] = 0xff;
    return payload;
  }();
  const std::vector<std::vector<unsigned char>> payloads = {
      {0}, {0, 5, 'a'}, {0, 1, 'a', 'b'}, {0, 1, 0}, {0xff, 0xff}, tooLong};
  for (const auto& payload : payloads) {
    const VelpClientMessageRequest request(packID, payload.data(),
                                           static_cast<unsigned int>(payload.size()));
    Response response;
    ASSERT_EQ(VelpMsgSender::getInstance()->sendRequestWaitForResponse("ReportService", request,
                                                                       response, 50),
              0);
    EXPECT_EQ(response.getErrorCode(), static_cast<Response::errorCode_t>(8));
    EXPECT_EQ(response.getErrorText(), "the request's payload is not one path");
  }
}

TEST_F(ReportPrograms, TakeAnEmptyPayloadForTheWholeSource) {
  write("a.log", 1);
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));
  Joined here(bus.address());

  Response response;
  ASSERT_EQ(VelpMsgSender::getInstance()->sendRequestWaitForResponse(
                "ReportService", VelpClientMessageRequest(packID, nullptr, 0), response, 50),
            0);

  // The archive's path, its size, one file, none left out.
  const std::vector<unsigned char>& payload = response.getPayload();
  const std::string archive = response.getString(0, 2);
  ASSERT_EQ(payload.size(), 2 + archive.size() + 16);
  EXPECT_EQ(payload[2 + archive.size() + 7], std::filesystem::file_size(archive));
  EXPECT_THAT(std::vector<unsigned char>(payload.end() - 8, payload.end()),
              ElementsAre(0, 0, 0, 1, 0, 0, 0, 0));
}

TEST_F(ReportPrograms, ExplainTheOutcomesThatTheServiceHasNoPartIn) {
  Joined here(bus.address());
  VelpMsgHandler handler(0);

  EXPECT_EQ(ask({"--service", "Nobody"}), 3);
  EXPECT_EQ(err, "report-client: Nobody is not on " + bus.address() +
                     ", or cannot take the request now (-1)\n");
  EXPECT_EQ(ask({"--service", "Test"}), 4);
  EXPECT_EQ(err, "report-client: Test makes no reports (error 1)\n");

  handler.registerRequest(packID, AVAILABLE, [](const VelpClientMessageRequest& request) {
    const std::vector<unsigned char> noReport = {0, 1, 'a', 0};
    VelpMsgSender::getInstance()->sendResponseOK(request.getText(), packID, noReport);
    return BUSY;
  });
  EXPECT_EQ(ask({"--service", "Test"}), 2);
  EXPECT_EQ(err, "report-client: Test answered, but not with a report\n");
  EXPECT_EQ(out, "");
}

TEST_F(ReportPrograms, KeepATerminalSafeFromWhatTheServiceSends) {
  Joined here(bus.address());
  VelpMsgHandler handler(0);
  handler.registerRequest(packID, AVAILABLE, [](const VelpClientMessageRequest& request) {
    VelpMsgSender* sender = VelpMsgSender::getInstance();
    sender->sendResponseProgress(request.getText(), packID, 255, std::string("\x1b[2J\n"));
    sender->sendResponseError(request.getText(), packID, static_cast<Response::errorCode_t>(9),
                              std::string("a\nb"));
    return AVAILABLE;
  });

  EXPECT_EQ(ask({"--service", "Test"}), 2);
  EXPECT_EQ(err,
            "255 %  \\x1b[2J\\x0a\n"
            "report-client: Test made no report: a\\x0ab (error 9)\n");
}

TEST_F(ReportPrograms, WriteTheLibrarysLogOnlyWhenAsked) {
  EXPECT_EQ(ask({"--log"}), 3);
  EXPECT_THAT(err, HasSubstr(texts::requestNotSent));
  EXPECT_EQ(out, "");
}

TEST_F(ReportPrograms, EndWithStatus1OnUsageErrors) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));

  EXPECT_EQ(ask({"--no-such-option"}), 1);
  EXPECT_EQ(ask({"--timeout", "-1"}), 1);
  EXPECT_EQ(ask({std::string(5000, 'a')}), 1);
  EXPECT_THAT(err, HasSubstr("The path is too long"));
  EXPECT_EQ(ask({"--name", "ReportService"}), 1);
  EXPECT_THAT(err, HasSubstr(std::to_string(service.getPid())));
  EXPECT_EQ(ask({"--help"}), 0);
}

TEST_F(ReportPrograms, SayWhenTheAnswerCannotBeWritten) {
  ChildProcess service(serviceCommand());
  ASSERT_TRUE(service.waitForLine("ready"));
  ChildProcess client(
      joined({"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"}, clientCommand({"--log"})));

  EXPECT_EQ(client.waitForEnd(), 1);
  EXPECT_THAT(client.err(), HasSubstr("report-client: the answer cannot be written to stdout\n"));
}

TEST_F(ReportPrograms, KeepTheirStatusWithoutAnyStream) {
  ChildProcess client(joined({"/bin/sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh"}, clientCommand()));
  EXPECT_EQ(client.waitForEnd(), 3);

  source += "/none";
  ChildProcess service(joined({"/bin/sh", "-c", "exec \"$@\" 2>&-", "sh"}, serviceCommand()));
  EXPECT_EQ(service.waitForEnd(), 1);
}

TEST_F(ReportPrograms, EscapeTheNamesThatTheyRepeat) {
  EXPECT_EQ(ask({"--service", "No\nbody"}), 3);
  EXPECT_THAT(err, HasSubstr("report-client: No\\x0abody is not on "));
}

TEST_F(ReportPrograms, RefuseToStartWithoutTheirDirectories) {
  for (const char* option : {"--source", "--output"}) {
    ChildProcess service(
        {VELP_BIN "report-service", "--bus", bus.address(), option, source + "/none"});
    EXPECT_EQ(service.waitForEnd(), 1);
    EXPECT_THAT(service.err(), HasSubstr(source + "/none"));
  }
}

}  // namespace
}  // namespace velp::test
