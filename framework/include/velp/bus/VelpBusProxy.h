// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The process's access to the bus.
#pragma once

#include "velp/bus/Participant.h"

/// The one participant that this process is. See velp::Participant for what its operations promise.
///
///     VelpBusProxy::getInstance()->connect("EventService", "local:");
///
/// Lives until the process is gone. After fork() the child is not on the bus: its sendTo() returns
/// false until it connects itself.
///
/// Threads, blocks, owns, fails: as velp::Participant.
class VELP_FRAMEWORK_API VelpBusProxy {
 public:
  static VelpBusProxy* getInstance();
  VelpBusProxy(const VelpBusProxy&) = delete;
  VelpBusProxy& operator=(const VelpBusProxy&) = delete;

  void connect(const std::string& name, const std::string& address);
  void disconnect();
  std::string getName() const;
  void setCallBack(VelpBusProxyCallback& callback);
  void removeCallBack(VelpBusProxyCallback& callback);
  void setRxFilter(VelpBusProxyCallback& callback, const std::set<msgid_t>& kinds);
  bool sendTo(const std::string& target, const MessageBase& message);

 private:
  VelpBusProxy() = default;
  ~VelpBusProxy() = default;

  velp::Participant participant;
};
