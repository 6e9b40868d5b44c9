// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The worker: joins the bus's callbacks, then serves what the reception side has queued.
//
// The worker holds `mutex` all the time except while it waits and while a callback runs. Each pass
// serves all queued requests, then all queued responses; a request that arrives among the responses
// waits for the next pass. Taking the front entry off the queue leaves the worker with the only
// reference to the message.
//
//   run() ── thread ──▶ joinBus ──▶ serve: [wait] ▶ requests ▶ responses ─┐ ──▶ leave the bus
//                                           ▲───────────── running ───────┘
//
// stop() clears `running` under `mutex` and signals; the worker sees it before the next message or
// after the callback in progress. Joining and leaving the bus happen without `mutex`, because a
// reception callback may be waiting for it.
#include "velpmsg/VelpMsgHandler.h"

#include "handler/HandlerLog.h"
#include "handler/SignalLocker.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/MutexLocker.h"
#include "velp/runtime/MutexUnlocker.h"

namespace {

// QUIRK(10): the worker's lines name the function twice, in the tag and in the text.
constexpr const char* function = "threadCode";

}  // namespace

VelpMsgHandler::VelpMsgHandler(unsigned int traceLevel) : traceLevel(traceLevel) {
  run();
}

VelpMsgHandler::~VelpMsgHandler() noexcept {
  // QUIRK(15): what is still queued is released unanswered, and its IDs stay BUSY.
  stop();
}

const char* VelpMsgHandler::getThreadName() const {
  return "velp-worker";
}

void VelpMsgHandler::run() {
  try {
    MutexLocker locker(handleMutex);
    if (running.exchange(true)) return;
    onBus = false;
    if (pthread_create(&handle, nullptr, Thread::startWrapper, static_cast<Thread*>(this)) != 0) {
      // Without a thread the handle must say so: a failed pthread_create leaves it undefined.
      handle = noThread();
      return;
    }
    // A service that joins the bus next must not lose the requests that wait for it there.
    while (!onBus) joinedBus.wait(handleMutex);
  } catch (...) {
    // The constructor is about to destroy what the worker uses.
    if (clearRunning()) join();
    throw;
  }
}

void VelpMsgHandler::threadCode() {
  joinBus();
  serve();
  VelpBusProxy::getInstance()->removeCallBack(*this);
  if (hasThread()) pthread_exit(nullptr);
}

void VelpMsgHandler::joinBus() {
  const std::set<msgid_t> filter{velp::clientRequestKind, velp::clientResponseKind};
  VelpBusProxy::getInstance()->setRxFilter(*this, filter);
  VelpBusProxy::getInstance()->setCallBack(*this);
  MutexLocker locker(handleMutex);
  onBus = true;
  joinedBus.signal();
}

void VelpMsgHandler::serve() {
  MutexLocker locker(mutex);
  while (running) {
    // QUIRK(16): after the wait the queues are not tested again; a spurious wake-up serves nothing.
    if (requestQueue.empty() && responseQueue.empty()) waitForWork();
    serveRequests();
    serveResponses();
  }
}

void VelpMsgHandler::waitForWork() {
  if (traceLevel >= 2) LogUtil::debug(handlerTag, function, "threadCode: wait");
  condition.wait(mutex);
  if (traceLevel >= 2) {
    LogUtil::debug(handlerTag, function, "threadCode: done wait, running=", running ? 1 : 0,
                   ", reqsize=", requestQueue.size(), ", ressize=", responseQueue.size());
  }
}

void VelpMsgHandler::serveRequests() {
  while (running && !requestQueue.empty()) {
    const auto request = requestQueue.front();
    requestQueue.pop();
    const requestState_t result = callBack(*request);
    if (traceLevel >= 2) {
      LogUtil::debug(handlerTag, function, "threadCode: request callback done, state=", result);
    }
    setRequestStateNoLock(request->getMsgID(), result);
  }
}

void VelpMsgHandler::serveResponses() {
  while (running && !responseQueue.empty()) {
    const auto response = responseQueue.front();
    responseQueue.pop();
    callBack(*response);
    // QUIRK(11): also when no callback was called.
    if (traceLevel >= 2) LogUtil::debug(handlerTag, function, "threadCode: response callback done");
  }
}

requestState_t VelpMsgHandler::callBack(const VelpClientMessageRequest& request) {
  const auto item = requestMap.find(request.getMsgID());
  if (item == requestMap.end()) return NOT_AVAILABLE;
  if (traceLevel >= 2) LogUtil::debug(handlerTag, function, "threadCode: request callback");
  // Called through the entry, which stays where it is: entries are never removed.
  const RequestCallback& callback = item->second.callback;
  MutexUnlocker unlocker(mutex);
  return callback(request);
}

void VelpMsgHandler::callBack(const VelpClientMessageResponse& response) {
  const auto item = responseMap.find(response.getAnsweredID());
  if (item == responseMap.end()) return;
  if (traceLevel >= 2) LogUtil::debug(handlerTag, function, "threadCode: response callback");
  const ResponseCallback& callback = item->second.callback;
  MutexUnlocker unlocker(mutex);
  callback(response);
}

void VelpMsgHandler::stop() {
  if (!running) return;
  if (traceLevel >= 2) LogUtil::debug(handlerTag, "stop", "stop");
  if (clearRunning()) join();
  if (traceLevel >= 2) LogUtil::debug(handlerTag, "stop", "done ");
}

// Of two threads that stop the handler at the same time, only one may join the worker.
bool VelpMsgHandler::clearRunning() {
  SignalLocker locker(mutex);
  const bool wasRunning = running.exchange(false);
  locker.signal(condition);
  return wasRunning;
}

void VelpMsgHandler::join() {
  if (!hasThread()) return;
  pthread_join(handle, nullptr);
  MutexLocker locker(handleMutex);
  handle = noThread();
}

bool VelpMsgHandler::hasThread() {
  MutexLocker locker(handleMutex);
  return !pthread_equal(handle, noThread());
}
