// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the bus needs of a transport: the contract that every transport keeps.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "velp/bus/VelpBusProxyCallback.h"

namespace velp {

/// Takes what a transport receives. The participant implements it.
class TransportSink {
 public:
  virtual ~TransportSink() = default;

  /// A frame from the participant `source`, whose name the transport has proven; the bytes are
  /// valid during the call only. Called inside Transport::receive(), on its thread. May call
  /// Transport::send(), also to the source. Returns false, with the reason, when the bytes are no
  /// message: the transport then counts and reports the frame as refused.
  virtual bool onFrame(const std::string& source, const unsigned char* bytes, std::size_t size,
                       std::string& reason) = 0;

  /// A status report. Called inside Transport::receive(), on its thread.
  virtual void onStatus(VelpBusProxyCallback::StatusCBType_t type, int code,
                        const std::string& info) = 0;
};

/// A joined bus: its constructor (through the factory) takes the name, its destructor gives it
/// back.
///
/// Duties: order per sender and receiver, at most once, proven source; see docs/guarantees.md.
class Transport {
 public:
  virtual ~Transport() = default;

  /// Hands the frame to `target`, a name already checked by the grammar. True when the receiver's
  /// transport has all of it. Any thread, several at once, also inside onFrame(). Never waits for
  /// the receiver, holds no lock while it calls anything of the participant's.
  virtual bool send(const std::string& target, const unsigned char* bytes, std::size_t size) = 0;

  /// Receives until stop(): calls `sink` for each frame and report. Called once, by the reception
  /// thread. Does not return early, whatever peers do.
  virtual void receive(TransportSink& sink) = 0;

  /// Makes receive() return, now or when it is called. Any thread; does not wait.
  virtual void stop() = 0;

  /// In the child after fork(): closes what the child inherited, takes no lock, allocates nothing.
  virtual void closeAfterFork() noexcept = 0;

  /// At exit, without waiting for anybody: makes the name read as absent. Any thread.
  virtual void withdraw() noexcept {}
};

/// Whether `name` is 1 to 48 of A-Z a-z 0-9 _ -.
bool isParticipantName(const std::string& name);

/// Joins the bus at `address` as `name`. Throws VelException, see Participant::connect().
std::unique_ptr<Transport> openTransport(const std::string& name, const std::string& address);

/// The transports' own factories; `place` is the address behind the scheme's colon.
std::unique_ptr<Transport> openInprocTransport(const std::string& name, const std::string& place);
std::unique_ptr<Transport> openLocalTransport(const std::string& name, const std::string& place);

}  // namespace velp
