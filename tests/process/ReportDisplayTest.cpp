// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The report client's progress, for a terminal and for anything else.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>

#include "examples/report/ProgressDisplay.h"
#include "process/ReportFixture.h"

namespace velp::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr unsigned short columns = 60;

TEST(ProgressBar, ShowsBarPercentageAndText) {
  EXPECT_EQ(progressBar(50, "Half", 48, false), "[########--------]  50 %  Half");
  EXPECT_EQ(progressBar(0, "", 30, false), "[----------]   0 %  ");
  EXPECT_EQ(progressBar(100, "Done", 30, false), "[##########] 100 %  Done");
}

TEST(ProgressBar, FitsIntoEveryWidth) {
  const std::string text(300, 'x');
  for (std::size_t width = 0; width < 250; ++width) {
    for (const unsigned int percent : {0U, 33U, 100U, 255U}) {
      EXPECT_LE(progressBar(percent, text, width, false).size(), width) << width;
    }
  }
}

TEST(ProgressBar, KeepsThePercentageWhereThereIsNoRoomForABar) {
  EXPECT_EQ(progressBar(45, "Zip", 10, false), " 45 %  Zip");
}

TEST(ProgressBar, TakesMoreThanAHundredForAHundred) {
  EXPECT_EQ(progressBar(255, "", 30, false), "[##########] 100 %  ");
}

TEST(ProgressBar, ColoursOnlyWhatIsDone) {
  EXPECT_EQ(progressBar(50, "", 30, true), "[\x1b[32m#####\x1b[0m-----]  50 %  ");
}

/// A client whose standard error is a terminal of 60 columns.
struct ReportTerminal : ReportPrograms {
  ReportTerminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
  ~ReportTerminal() override { close(master); }

  void SetUp() override {
    if (grantpt(master) != 0) GTEST_SKIP() << "no terminals here: is /dev/pts mounted?";
    EXPECT_EQ(unlockpt(master), 0);
    struct winsize size = {};
    size.ws_col = columns;
    size.ws_row = 24;
    EXPECT_EQ(ioctl(master, TIOCSWINSZ, &size), 0);
  }

  // What the terminal shows of a report of one file, with these settings.
  std::string watch(const Words& settings) {
    write("only.log", 10);
    ChildProcess service(serviceCommand({"--tick", "0"}));
    EXPECT_TRUE(service.waitForLine("ready"));
    const std::string slave = ptsname(master);
    const Words start = {"/bin/sh", "-c", "exec env \"$@\" 2>" + slave, "sh"};
    ChildProcess client(joined(joined(start, settings), clientCommand()));
    EXPECT_EQ(client.waitForEnd(), 0);
    return readAll();
  }

  // Reading ends with an error when the client has gone and everything is read.
  std::string readAll() const {
    std::string text;
    char piece[1024];
    for (ssize_t count = 1; count > 0;) {
      count = read(master, piece, sizeof piece);
      if (count > 0) text.append(piece, static_cast<std::size_t>(count));
    }
    return text;
  }

  int master;
};

std::string without(std::string text, const std::string& part) {
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part)) {
    text.erase(at, part.size());
  }
  return text;
}

TEST_F(ReportTerminal, ShowsOneLineThatIsDrawnAnew) {
  const std::string shown = watch({"TERM=xterm", "NO_COLOR="});

  EXPECT_THAT(shown, HasSubstr("\r[\x1b[32m\x1b[0m-------------------]   5 %  Zip"));
  EXPECT_THAT(shown, HasSubstr("\r[\x1b[32m###################\x1b[0m] 100 %  " + steps::finished +
                               "\x1b[K\r\nreport-client: "));
  std::string plain = without(without(without(shown, "\x1b[32m"), "\x1b[0m"), "\x1b[K");
  plain.erase(plain.find("\r\n"));
  for (std::size_t at = 0; at < plain.size();) {
    const std::size_t end = std::min(plain.find('\r', at), plain.size());
    EXPECT_LT(end - at, columns) << plain.substr(at, end - at);
    at = end + 1;
  }
}

TEST_F(ReportTerminal, ShowsNoColourWhenToldSo) {
  const std::string shown = watch({"TERM=xterm", "NO_COLOR=1"});

  EXPECT_THAT(shown, HasSubstr("\r[-------------------]   5 %  " + steps::packing + "\x1b[K"));
  EXPECT_THAT(shown, Not(HasSubstr("\x1b[32m")));
}

TEST_F(ReportTerminal, ShowsLinesWhenItCannotRedraw) {
  const std::string shown = watch({"TERM=dumb"});

  EXPECT_THAT(shown, HasSubstr("  5 %  " + steps::packing + "\r\n"));
  EXPECT_THAT(shown, Not(HasSubstr("\x1b")));
}

}  // namespace
}  // namespace velp::test
