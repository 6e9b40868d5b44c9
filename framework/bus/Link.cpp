// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The reception thread: turns frames into messages and hands them to the callbacks.
#include "bus/Link.h"

#include <utility>

#include "velp/bus/StatusCode.h"
#include "velp/message/ByteForm.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

thread_local const CallbackRegistry* receivingFor = nullptr;

}  // namespace

Link::Link(std::string name, const std::string& address, std::unique_ptr<Transport> transport,
           CallbackRegistry& registry)
    : name(std::move(name)),
      address(address),
      registry(registry),
      transport(std::move(transport)),
      forkGuard(*this->transport) {}

Link::~Link() {
  transport->stop();
  if (started) pthread_join(handle, nullptr);
}

void Link::start() {
  const int rc = pthread_create(&handle, nullptr, Thread::startWrapper, static_cast<Thread*>(this));
  if (rc != 0) throw VelException(rc, "cannot start the bus's reception thread");
  started = true;
}

bool Link::isReceivingFor(const CallbackRegistry& registry) {
  return receivingFor == &registry;
}

void Link::threadCode() {
  receivingFor = &registry;
  onStatus(VelpBusProxyCallback::STATUS_INFORMATION, STATUS_JOINED,
           "joined " + address + " as " + name);
  transport->receive(*this);
}

bool Link::onFrame(const std::string& source, const unsigned char* bytes, std::size_t size,
                   std::string& reason) {
  const std::unique_ptr<MessageBase> message = decodeMessage(bytes, size, reason);
  if (message == nullptr) return false;
  registry.deliver(*message, source, name);
  return true;
}

void Link::onStatus(VelpBusProxyCallback::StatusCBType_t type, int code, const std::string& info) {
  registry.report(type, code, info);
}

}  // namespace velp
