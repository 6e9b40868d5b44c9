// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Calls the callbacks without holding a lock, and lets them be removed at any time.
//
// Callbacks may add and remove callbacks, send, and block, so no lock is held while one runs. A
// round therefore asks for its next callback under the lock each time, by ticket: whoever was
// removed meanwhile is passed over, whoever was added meanwhile waits for the next round. `running`
// names the callback in progress; remove() waits for the end of that call, unless the caller is
// that very call. It waits for this one call and not for `running` to change: the callback may have
// been registered again and be running again when the waiter gets to look. Each waiter has a
// condition of its own: sharing one, a waiter for the next call could take the wake-up of a waiter
// for this one.
#include "bus/CallbackRegistry.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "runtime/isForcedUnwind.h"
#include "velp/bus/StatusCode.h"
#include "velp/runtime/LogUtil.h"
#include "velp/runtime/MutexLocker.h"

namespace velp {

void CallbackRegistry::add(VelpBusProxyCallback& callback) {
  MutexLocker locker(mutex);
  const auto same = [&](const Registration& r) { return r.callback == &callback; };
  const std::vector<Registration>& present = table->registrations;
  if (std::any_of(present.begin(), present.end(), same)) return;
  auto next = std::make_unique<Table>(*table);
  next->registrations.push_back({next->nextTicket++, &callback});
  putInPlaceNoLock(std::move(next));
}

void CallbackRegistry::setFilter(VelpBusProxyCallback& callback, const std::set<msgid_t>& kinds) {
  MutexLocker locker(mutex);
  auto next = std::make_unique<Table>(*table);
  next->filters[&callback] = kinds;
  putInPlaceNoLock(std::move(next));
}

void CallbackRegistry::putInPlaceNoLock(std::unique_ptr<const Table> next) {
  current = next.get();
  table.swap(next);
}

void CallbackRegistry::remove(VelpBusProxyCallback& callback) {
  MutexLocker locker(mutex);
  forgetNoLock(callback);
  if (running == &callback && !pthread_equal(runner, pthread_self())) waitForEndNoLock();
}

void CallbackRegistry::waitForEndNoLock() {
  const std::uint64_t before = endedCalls;
  const auto ended = std::make_shared<Condition>();
  waiters.push_back(ended);
  while (endedCalls == before) ended->wait(mutex);
}

void CallbackRegistry::forgetNoLock(VelpBusProxyCallback& callback) {
  auto next = std::make_unique<Table>(*table);
  // The filter goes too: a later object at the same address must not inherit it.
  next->filters.erase(&callback);
  const auto same = [&](const Registration& r) { return r.callback == &callback; };
  std::vector<Registration>& all = next->registrations;
  all.erase(std::remove_if(all.begin(), all.end(), same), all.end());
  putInPlaceNoLock(std::move(next));
}

void CallbackRegistry::deliver(const MessageBase& message, const std::string& source,
                               const std::string& receiver) {
  const msgid_t kind = message.getKind();
  const auto call = [&](VelpBusProxyCallback& callback) {
    callback.velpBusProxyCb(&message, source, receiver);
  };
  // By reference: a copy of the three references would not fit without an allocation.
  callEach(&kind, std::ref(call));
}

void CallbackRegistry::report(VelpBusProxyCallback::StatusCBType_t type, int code,
                              const std::string& info) {
  callEach(nullptr, [&](VelpBusProxyCallback& callback) {
    callback.velpBusProxyStatusCb(type, code, info);
  });
}

void CallbackRegistry::callEach(const msgid_t* kind, const Call& call) {
  Round round{kind, 0, 0};
  VelpBusProxyCallback* callback = beginRound(round);
  while (callback != nullptr) {
    callOne(*callback, call);
    callback = goOn(round);
  }
}

VelpBusProxyCallback* CallbackRegistry::beginRound(Round& round) {
  MutexLocker locker(mutex);
  round.last = table->nextTicket - 1;
  return beginCallNoLock(round);
}

VelpBusProxyCallback* CallbackRegistry::beginCallNoLock(Round& round) {
  for (const Registration& registration : table->registrations) {
    if (registration.ticket <= round.ticket || registration.ticket > round.last) continue;
    if (!wantsNoLock(registration.callback, round.kind)) continue;
    round.ticket = registration.ticket;
    running = registration.callback;
    runner = pthread_self();
    return running;
  }
  return nullptr;
}

bool CallbackRegistry::wantsNoLock(VelpBusProxyCallback* callback, const msgid_t* kind) const {
  if (kind == nullptr) return true;
  const auto filter = table->filters.find(callback);
  return filter == table->filters.end() || filter->second.count(*kind) != 0;
}

// A call that threw has ended already; to end it again does no harm, as nobody waits for it.
VelpBusProxyCallback* CallbackRegistry::goOn(Round& round) {
  MutexLocker locker(mutex);
  endCallNoLock();
  return beginCallNoLock(round);
}

void CallbackRegistry::endCallNoLock() {
  running = nullptr;
  ++endedCalls;
  for (const std::shared_ptr<Condition>& waiter : waiters) waiter->signal();
  waiters.clear();
}

void CallbackRegistry::callOne(VelpBusProxyCallback& callback, const Call& call) {
  try {
    call(callback);
  } catch (const std::exception& error) {
    dropAfterThrow(callback, error.what());
  } catch (...) {
    if (isForcedUnwind()) {
      MutexLocker locker(mutex);
      endCallNoLock();
      throw;
    }
    dropAfterThrow(callback, "not a std::exception");
  }
}

// A callback that threw may have left a lock of its own held: calling it again could stop the
// reception thread for good.
void CallbackRegistry::dropAfterThrow(VelpBusProxyCallback& callback, const std::string& what) {
  {
    MutexLocker locker(mutex);
    forgetNoLock(callback);
    endCallNoLock();
  }
  report(VelpBusProxyCallback::STATUS_ERROR, STATUS_CALLBACK_THREW,
         "a callback threw and was taken off the bus: " + escaped(what));
}

void CallbackRegistry::takeOver(const CallbackRegistry& parents) {
  MutexLocker locker(mutex);
  putInPlaceNoLock(std::make_unique<Table>(*parents.current));
}

}  // namespace velp
