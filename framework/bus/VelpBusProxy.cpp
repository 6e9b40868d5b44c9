// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The process's participant: made on first use and never destroyed.
#include "velp/bus/VelpBusProxy.h"

#include <atomic>
#include <cstdlib>

VelpBusProxyCallback::~VelpBusProxyCallback() = default;

namespace {

// Never deleted: the sender, which goes late at exit, still takes itself off the bus. No local
// statics here: a child forked while another thread initialises one would wait for that thread.
std::atomic<VelpBusProxy*> proxy{nullptr};
std::atomic<bool> withdrawsAtExit{false};

}  // namespace

VelpBusProxy* VelpBusProxy::getInstance() {
  VelpBusProxy* present = proxy.load();
  if (present != nullptr) return present;
  auto* const fresh = new VelpBusProxy;
  if (proxy.compare_exchange_strong(present, fresh)) return fresh;
  delete fresh;
  return present;
}

void VelpBusProxy::connect(const std::string& name, const std::string& address) {
  // At exit the name is withdrawn, but the reception thread is not waited for: a callback that is
  // stuck must not keep the process from ending.
  if (!withdrawsAtExit.exchange(true)) {
    std::atexit([] { getInstance()->participant.withdraw(); });
  }
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
