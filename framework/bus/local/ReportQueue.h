// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reports on their way to the reception thread.
#pragma once

#include <string>
#include <vector>

#include "bus/ReportLimiter.h"
#include "bus/Transport.h"
#include "bus/local/BusFd.h"
#include "velp/runtime/Mutex.h"

namespace velp {

/// Collects status reports from any thread; a descriptor becomes readable when there is something
/// for the reception thread to do.
///
/// Threads: any; hand() on the reception thread only. Blocks: never. Owns: the descriptor.
/// Fails: the constructor throws VelException.
class ReportQueue {
 public:
  ReportQueue();

  int getFd() const { return wakeFd.get(); }
  /// Makes the descriptor readable.
  void wake();

  /// Queues a report about a link.
  void linkReport(VelpBusProxyCallback::StatusCBType_t type, int code, const std::string& text);
  /// Queues a warning about a peer's bytes, if the limit for such warnings allows.
  void refusal(int code, std::string text);
  /// Gives everything queued to `sink`.
  void hand(TransportSink& sink);

 private:
  struct Report {
    VelpBusProxyCallback::StatusCBType_t type;
    int code;
    std::string text;
  };

  const BusFd wakeFd;
  Mutex mutex;
  std::vector<Report> reports VELP_GUARDED_BY(mutex);
  ReportLimiter limiter VELP_GUARDED_BY(mutex);
};

/// Milliseconds of the monotonic clock.
std::uint64_t monotonicMilliseconds();

}  // namespace velp
