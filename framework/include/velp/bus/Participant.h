// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One participant of a bus: a name, a transport, a reception thread and its callbacks.
#pragma once

#include <atomic>
#include <set>
#include <string>

#include "velp/bus/VelpBusProxyCallback.h"
#include "velp/message/MessageBase.h"
#include "velp/runtime/export.h"

class VelpBusProxy;

namespace velp {

/// A participant of a bus. A process uses the one in VelpBusProxy; tests and simulations make more
/// of them in one process.
///
/// Threads:  any operation from any thread. Callbacks run on the participant's reception thread.
/// Blocks:   connect() and disconnect(), shortly; removeCallBack(), until a running call of that
///           callback has returned; sendTo() never waits for the receiver.
/// Owns:     its transport and reception thread; never the callbacks.
/// Fails:    connect() and disconnect() throw VelException; sendTo() returns false.
class VELP_FRAMEWORK_API Participant {
 public:
  Participant();
  /// Leaves the bus.
  ~Participant();
  Participant(const Participant&) = delete;
  Participant& operator=(const Participant&) = delete;

  /// Joins the bus at `address` ("inproc:", "inproc:NAME", "local:", or "local:DIR" with an
  /// absolute path) as `name`: 1 to 48 of A-Z a-z 0-9 _ -. Throws VelException with a text that
  /// says what to do: EINVAL for a bad name or address, EISCONN when already on a bus, EADDRINUSE
  /// when the name is taken, and the system's error for a bus that cannot be used.
  void connect(const std::string& name, const std::string& address);
  /// Leaves the bus; callbacks and filters stay registered. Harmless when not on one. Throws
  /// VelException(EDEADLK) when called from inside a callback.
  void disconnect();
  /// The name given to connect(), empty while not on a bus.
  std::string getName() const;

  /// From now on delivers messages and reports to `callback`, after those registered earlier.
  /// Registering it again changes nothing.
  void setCallBack(VelpBusProxyCallback& callback);
  /// Stops delivering to `callback` and forgets its filter. When it returns no call to it is
  /// running, unless it was called from inside that very call.
  void removeCallBack(VelpBusProxyCallback& callback);
  /// Delivers to `callback` only messages of these kinds; without a filter it gets all. May come
  /// before setCallBack().
  void setRxFilter(VelpBusProxyCallback& callback, const std::set<msgid_t>& kinds);

  /// Sends a copy of `message` to the participant named `target`. True when the receiver's
  /// transport has the whole of it; false when it is absent, too far behind, or the message exceeds
  /// 16 MiB or does not write as many bytes as it says it has.
  bool sendTo(const std::string& target, const MessageBase& message);

 private:
  class VELP_FRAMEWORK_HIDDEN Impl;
  friend class ::VelpBusProxy;

  Impl& current();
  void withdraw() noexcept;

  std::atomic<Impl*> impl;
};

}  // namespace velp
