// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Hands each call to the inside that belongs to this process.
#include "velp/bus/Participant.h"

#include "bus/ParticipantImpl.h"

namespace velp {

Participant::Participant() : impl(new Impl) {}

Participant::~Participant() {
  delete &current();
}

// After a fork the first caller in the child puts a fresh inside in place; the parent's stays
// reachable but untouched.
Participant::Impl& Participant::current() {
  Impl* present = impl.load(std::memory_order_acquire);
  if (!present->isAncestors()) return *present;
  auto fresh = std::make_unique<Impl>();
  fresh->callbacks().takeOver(present->callbacks());
  fresh->replaced = present;
  if (impl.compare_exchange_strong(present, fresh.get())) return *fresh.release();
  return *present;
}

void Participant::connect(const std::string& name, const std::string& address) {
  current().connect(name, address);
}

void Participant::disconnect() {
  current().disconnect();
}

std::string Participant::getName() const {
  return const_cast<Participant*>(this)->current().getName();
}

void Participant::setCallBack(VelpBusProxyCallback& callback) {
  current().callbacks().add(callback);
}

void Participant::removeCallBack(VelpBusProxyCallback& callback) {
  current().callbacks().remove(callback);
}

void Participant::setRxFilter(VelpBusProxyCallback& callback, const std::set<msgid_t>& kinds) {
  current().callbacks().setFilter(callback, kinds);
}

bool Participant::sendTo(const std::string& target, const MessageBase& message) {
  return current().sendTo(target, message);
}

void Participant::withdraw() noexcept {
  Impl& present = *impl.load(std::memory_order_acquire);
  if (!present.isAncestors()) present.withdraw();
}

}  // namespace velp
