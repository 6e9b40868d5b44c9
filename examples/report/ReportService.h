// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Packs files into archives on request.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

#include "PackProgress.h"
#include "ReportArchive.h"
#include "ReportProtocol.h"
#include "SourceTree.h"
#include "velpmsg/VelpMsgHandler.h"

/// Serves message ID 1001 (see ReportProtocol.h) while it exists, one request at a time. What it
/// does and what it leaves out is written to standard output and standard error.
class ReportService {
 public:
  struct Settings {
    std::string name;                   ///< on the bus
    std::string source;                 ///< root of what clients may ask for
    std::string output;                 ///< directory for the archives
    std::chrono::milliseconds tick{0};  ///< of progress; 0: none
    std::uint64_t pace = 0;             ///< KiB of files per second at most; 0: no limit
  };

  /// Throws std::system_error when a directory is not there.
  explicit ReportService(const Settings& settings);
  /// Abandons the report that is being made, whose requester gets an error response.
  ~ReportService();
  ReportService(const ReportService&) = delete;
  ReportService& operator=(const ReportService&) = delete;

  /// Removes what a killed predecessor left in the output directory and joins the bus. Throws
  /// VelException when that fails.
  void join(const std::string& address);

  const std::string& getSource() const { return tree.getRoot(); }
  const std::string& getOutput() const { return output; }

 private:
  using Clock = std::chrono::steady_clock;

  requestState_t serve(const VelpClientMessageRequest& request);
  Report pack(const VelpClientMessageRequest& request, PackProgress& progress);
  void addFiles(const SourceList& list, ReportArchive& archive, PackProgress& progress,
                Report& report);
  void addFile(const std::string& path, ReportArchive& archive, PackProgress& progress,
               Report& report);
  void takeTime(std::uint64_t bytes);
  void answer(const std::string& client, const Report& report);
  void refuse(const std::string& client, const ReportError& error);
  void recordFault(const ReportError& error);
  void recordRecovery();

  const std::string name;
  const SourceTree tree;
  const std::string output;
  const std::chrono::milliseconds tick;
  const std::uint64_t pace;

  // Of the worker alone.
  Clock::time_point begin;
  std::uint64_t packed = 0;
  bool faulty = false;

  std::mutex mutex;
  std::condition_variable changed;
  bool ending = false;  // guarded by mutex

  VelpMsgHandler handler;  // last: its worker uses the members above
};
