// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Receives fault records from the bus and has them kept.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "FaultRecords.h"
#include "velp/bus/VelpBusProxyCallback.h"
#include "velp/message/SystemMessage.h"

/// The participant that processes file their fault records with, while it exists.
///
/// A record is on the disk before the next one is received, so a burst waits in the bus; a sender
/// that is too far ahead is told so by its send, which returns false.
class FaultService : public VelpBusProxyCallback {
 public:
  explicit FaultService(FaultRecords& records);
  /// Keeps the record in progress and leaves the bus.
  ~FaultService() override;

  /// Joins the bus as "FaultManagement". Throws VelException when that fails.
  void join(const std::string& address);
  /// Leaves the bus; nothing is kept any more when it returns.
  void leave();

  /// How many records were kept since the start, and how many could not be.
  std::size_t getKept() const { return kept; }
  std::size_t getLost() const { return lost; }

  void velpBusProxyCb(const MessageBase* message, const std::string& source,
                      const std::string& receiver) override;
  void velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& info) override;

 private:
  void keep(const std::string& line);

  FaultRecords& records;  // used by the reception thread alone
  std::atomic<std::size_t> kept{0};
  std::atomic<std::size_t> lost{0};
};
