// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A participant's time on a bus: its transport and the thread that receives from it.
#pragma once

#include <memory>
#include <string>

#include "bus/CallbackRegistry.h"
#include "bus/ForkGuard.h"
#include "bus/Transport.h"
#include "velp/runtime/Thread.h"

namespace velp {

/// Receives on a thread named velp-bus from start() to destruction.
///
/// Threads:  getTransport() from any thread; the rest from one, never the reception thread.
/// Blocks:   the destructor, until the callback in progress has returned.
/// Owns:     the transport and the thread; not the registry, which must live longer.
/// Fails:    start() throws VelException when no thread can be started.
class Link : private Thread, private TransportSink {
 public:
  Link(std::string name, const std::string& address, std::unique_ptr<Transport> transport,
       CallbackRegistry& registry);
  ~Link() override;

  /// Begins to receive, with the report that the bus is joined. To be called once, when callbacks
  /// can already send through this link.
  void start();

  const std::string& getName() const { return name; }
  Transport& getTransport() { return *transport; }

  /// Whether the calling thread is the reception thread of a link that serves `registry`.
  static bool isReceivingFor(const CallbackRegistry& registry);

 private:
  void threadCode() override;
  const char* getThreadName() const override { return "velp-bus"; }
  bool onFrame(const std::string& source, const unsigned char* bytes, std::size_t size,
               std::string& reason) override;
  void onStatus(VelpBusProxyCallback::StatusCBType_t type, int code,
                const std::string& info) override;

  // Constant after construction.
  const std::string name;
  const std::string address;
  CallbackRegistry& registry;
  const std::unique_ptr<Transport> transport;
  const ForkGuard forkGuard;

  // Used by the owning thread only.
  bool started = false;
};

}  // namespace velp
