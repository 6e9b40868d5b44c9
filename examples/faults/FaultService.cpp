// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A bus callback of its own: fault records are no client requests, so no handler is needed.
#include "FaultService.h"

#include <cstdio>
#include <system_error>

#include "../say.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"

FaultService::FaultService(FaultRecords& records) : records(records) {
  VelpBusProxy* bus = VelpBusProxy::getInstance();
  bus->setRxFilter(*this, {velp::systemMessageKind});
  bus->setCallBack(*this);
}

FaultService::~FaultService() {
  VelpBusProxy::getInstance()->removeCallBack(*this);
  leave();
}

void FaultService::join(const std::string& address) {
  VelpBusProxy::getInstance()->connect("FaultManagement", address);
}

void FaultService::leave() {
  VelpBusProxy::getInstance()->disconnect();
}

void FaultService::velpBusProxyCb(const MessageBase* message, const std::string& source,
                                  const std::string&) {
  const auto* record = dynamic_cast<const SystemMessage*>(message);
  if (record != nullptr) keep(faultLine(source, record->getText()));
}

// An exception must not leave a bus callback: it would be taken off the bus.
void FaultService::keep(const std::string& line) {
  try {
    records.append(line);
  } catch (const std::system_error& error) {
    ++lost;
    say(stderr, "fault-service: {}; not kept: {}", error.what(), line);
    return;
  }
  ++kept;
  say(stdout, "{}", line);
}

void FaultService::velpBusProxyStatusCb(StatusCBType_t type, int, const std::string& info) {
  if (type != STATUS_INFORMATION) {
    say(stderr, "fault-service: the bus reports: {}", velp::escaped(info));
  }
}
