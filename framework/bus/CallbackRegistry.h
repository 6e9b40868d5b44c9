// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Who receives from the bus, in which order, and what.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "velp/bus/VelpBusProxyCallback.h"
#include "velp/message/MessageBase.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/Mutex.h"

namespace velp {

/// The callbacks of one participant.
///
/// Threads:  add, remove and setFilter from any thread; deliver and report from the reception
///           thread only.
/// Blocks:   remove(), until a running call of that callback has returned.
/// Owns:     no callback; a copy of each filter.
/// Fails:    a callback that throws is taken off and reported to the others.
class CallbackRegistry {
 public:
  void add(VelpBusProxyCallback& callback);
  void remove(VelpBusProxyCallback& callback);
  void setFilter(VelpBusProxyCallback& callback, const std::set<msgid_t>& kinds);

  /// Calls every callback whose filter lets the message in, in registration order, without a lock.
  void deliver(const MessageBase& message, const std::string& source, const std::string& receiver);
  /// Reports to every callback in registration order.
  void report(VelpBusProxyCallback::StatusCBType_t type, int code, const std::string& info);

  /// In the child after fork(): takes the registrations of `parents` over, without its lock, which
  /// a thread that is not there may hold.
  void takeOver(const CallbackRegistry& parents);

 private:
  using Call = std::function<void(VelpBusProxyCallback&)>;
  // The order of registration: what is added during a round gets a higher ticket.
  struct Registration {
    std::uint64_t ticket;
    VelpBusProxyCallback* callback;
  };
  // All calls for one message or report: where it is, and the last ticket there was when it began.
  struct Round {
    const msgid_t* kind;
    std::uint64_t ticket;
    std::uint64_t last;
  };
  struct Table {
    std::vector<Registration> registrations;
    std::map<VelpBusProxyCallback*, std::set<msgid_t>> filters;
    std::uint64_t nextTicket = 1;
  };

  void callEach(const msgid_t* kind, const Call& call);
  VelpBusProxyCallback* beginRound(Round& round);
  VelpBusProxyCallback* beginCallNoLock(Round& round) VELP_REQUIRES(mutex);
  VelpBusProxyCallback* goOn(Round& round);
  void endCallNoLock() VELP_REQUIRES(mutex);
  void waitForEndNoLock() VELP_REQUIRES(mutex);
  void callOne(VelpBusProxyCallback& callback, const Call& call);
  void dropAfterThrow(VelpBusProxyCallback& callback, const std::string& what);
  void forgetNoLock(VelpBusProxyCallback& callback) VELP_REQUIRES(mutex);
  void putInPlaceNoLock(std::unique_ptr<const Table> next) VELP_REQUIRES(mutex);
  bool wantsNoLock(VelpBusProxyCallback* callback, const msgid_t* kind) const VELP_REQUIRES(mutex);

  Mutex mutex;
  // Never changed, but replaced: at whatever moment the process forks, `current` is a whole table.
  std::unique_ptr<const Table> table VELP_GUARDED_BY(mutex) = std::make_unique<Table>();
  std::atomic<const Table*> current{table.get()};
  // The callback that is being called, by which thread, and who waits for the end of that call.
  VelpBusProxyCallback* running VELP_GUARDED_BY(mutex) = nullptr;
  pthread_t runner VELP_GUARDED_BY(mutex) = 0;
  std::vector<std::shared_ptr<Condition>> waiters VELP_GUARDED_BY(mutex);
  std::uint64_t endedCalls VELP_GUARDED_BY(mutex) = 0;
};

}  // namespace velp
