// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How far a report is.
#pragma once

#include <cstdint>
#include <string>

#include "velpmsg/VelpMsgProgressHandler.h"

/// Tells the requester of a report how far it is, from its construction to its end. The percentage
/// never goes down: ticks advance it no further than where the next report of true progress is due.
class PackProgress {
 public:
  /// Ticks come every `period` milliseconds, none when it is 0.
  PackProgress(const std::string& requester, unsigned long long period);

  void beginArchive();
  /// The archive will hold `bytes` bytes of files.
  void beginFiles(std::uint64_t bytes);
  /// `path` is being packed; `bytes` more of it are done.
  void addBytes(std::uint64_t bytes, const std::string& path);
  void beginSync();
  void endSync();
  void finish();
  /// No archive will come; what was written of it is gone.
  void cleanUp();

 private:
  VelpMsgProgressHandler handler;
  std::uint64_t total = 0;
  std::uint64_t done = 0;
  unsigned char due = 0;  // the percentage to be reported next
};
