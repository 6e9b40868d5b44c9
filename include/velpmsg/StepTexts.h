// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The step texts that progress responses name by index.
#pragma once

namespace velp {

/// How many step texts there are: valid indexes are 0 to 33, any other means the empty text.
constexpr unsigned short stepTextCount = 34;

/// The step texts by index. The order is part of the protocol: an index means the same text to
/// every requester, so entries are never reordered or removed.
inline constexpr const char* const stepTexts[stepTextCount] = {
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

}  // namespace velp
