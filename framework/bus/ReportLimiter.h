// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Keeps hostile input from flooding the log.
#pragma once

#include <cstdint>
#include <string>

namespace velp {

/// A token bucket for reports: ten at once, then one a second; what was held back is counted and
/// told with the next report.
///
/// Threads: one at a time. Blocks: never. Owns: its counts. Fails: never.
class ReportLimiter {
 public:
  /// Whether a report may be made at `now` (milliseconds, monotonic). If so, `text` gets the number
  /// of those held back since the last one appended.
  bool admit(std::uint64_t now, std::string& text);

 private:
  static constexpr std::uint64_t burst = 10;
  static constexpr std::uint64_t millisecondsPerToken = 1000;

  std::uint64_t tokens = burst;
  std::uint64_t refilledAt = 0;
  std::uint64_t heldBack = 0;
};

}  // namespace velp
