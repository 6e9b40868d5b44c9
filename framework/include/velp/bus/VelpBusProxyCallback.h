// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What receives messages and reports from the bus.
#pragma once

#include <cstdint>
#include <string>

#include "velp/runtime/export.h"

class MessageBase;

/// Interface for anything that receives from the bus. Both operations are called on the bus's
/// reception thread, one at a time; until they return, nothing else is received.
///
/// An exception that leaves either takes the callback off the bus and is reported to the others.
class VELP_FRAMEWORK_API VelpBusProxyCallback {
 public:
  enum StatusCBType_t : std::uint32_t {
    STATUS_INFORMATION = 0,
    STATUS_WARNING = 1,
    STATUS_ERROR = 2,
  };

  virtual ~VelpBusProxyCallback();

  /// A message has arrived. `message` is valid only during the call; `source` is the proven name of
  /// the participant that sent it, `receiver` the name of this participant.
  virtual void velpBusProxyCb(const MessageBase* message, const std::string& source,
                              const std::string& receiver) = 0;

  /// The bus reports: the kind, a code (velp::StatusCode) and a text that says who and what.
  virtual void velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& info) = 0;
};
