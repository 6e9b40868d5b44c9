// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The process's participant: made on first use and never destroyed.
#include "velp/bus/VelpBusProxy.h"

#include <cstdlib>

VelpBusProxyCallback::~VelpBusProxyCallback() = default;

VelpBusProxy* VelpBusProxy::getInstance() {
  // Never deleted: the sender, which goes late at exit, still takes itself off the bus.
  static VelpBusProxy* const instance = new VelpBusProxy;
  return instance;
}

void VelpBusProxy::connect(const std::string& name, const std::string& address) {
  // At exit the name is withdrawn, but the reception thread is not waited for: a callback that is
  // stuck must not keep the process from ending.
  static const int registered = std::atexit([] { getInstance()->participant.withdraw(); });
  static_cast<void>(registered);
  participant.connect(name, address);
}

void VelpBusProxy::disconnect() {
  participant.disconnect();
}

std::string VelpBusProxy::getName() const {
  return participant.getName();
}

void VelpBusProxy::setCallBack(VelpBusProxyCallback& callback) {
  participant.setCallBack(callback);
}

void VelpBusProxy::removeCallBack(VelpBusProxyCallback& callback) {
  participant.removeCallBack(callback);
}

void VelpBusProxy::setRxFilter(VelpBusProxyCallback& callback, const std::set<msgid_t>& kinds) {
  participant.setRxFilter(callback, kinds);
}

bool VelpBusProxy::sendTo(const std::string& target, const MessageBase& message) {
  return participant.sendTo(target, message);
}
