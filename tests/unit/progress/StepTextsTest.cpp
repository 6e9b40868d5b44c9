// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The table of step texts, entry by entry: indexes mean the same to every requester.
#include "velpmsg/StepTexts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velp::test {
namespace {

const std::vector<std::string> agreedTexts = {
    "No info",
    "Delete files",
    "Clean reference database",
    "Clean no more needed configuration backups",
    "Copy data",
    "Check all system files in rdb",
    "checkAllRdbEntriesOnSystem=OK",
    "checkAllRdbEntriesOnSystem=NOK",
    "checkAllRdbEntriesOnSystem",
    "Check All RDB summaries",
    "Check summaries=OK",
    "Check summaries=NOK",
    "Creating Offline dirs...",
    "Copying all data...",
    "Copy all files finished",
    "Making additional Cfg files...",
    "Syncing file system...",
    "Sync file system done",
    "Create LogReport",
    "Init environment to process LogReport data",
    "Copy system data to LogReport data",
    "Copy fault memory content to LogReport",
    "Copy Reference data base to LogReport",
    "Write the system information to LogReport",
    "Copy Configuration to LogReport",
    "Unzipping Configuration...",
    "Zip LogReport files",
    "Cleanup",
    "LogReport creation finished",
    "Check given file/folder setup",
    "Verification complete",
    "Delete files complete",
    "Make Offline Data Set Files",
    "Update completed successfully",
};

TEST(StepTexts, AreThirtyFour) {
  EXPECT_EQ(stepTextCount, 34u);
  EXPECT_EQ(sizeof stepTexts / sizeof stepTexts[0], 34u);
}

TEST(StepTexts, StandInTheAgreedOrderLetterByLetter) {
  EXPECT_EQ(std::vector<std::string>(std::begin(stepTexts), std::end(stepTexts)), agreedTexts);
}

TEST(StepTexts, BeginWithNoInfoAndEndWithSuccess) {
  EXPECT_STREQ(stepTexts[0], "No info");
  EXPECT_STREQ(stepTexts[33], "Update completed successfully");
}

}  // namespace
}  // namespace velp::test
