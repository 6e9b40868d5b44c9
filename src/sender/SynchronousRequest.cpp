// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The synchronous request: one client thread waits for what the reception thread brings.
//
//   client thread                               reception thread
//   clearWait, recordWait     (record)          isActive?            (record)
//   sendTo                                      isAwaited?           (record)
//   isFinished?               (record)          noteProgress / noteFinal   (record)
//   waitForSignal             (waitMutex)       wakeWaiter           (waitMutex)
//   takeProgress?             (record)
//   ... until finished or timed out
//   clearWait                 (record)
//
// Two locks that are never held together: responseWait.mutex guards the record of what is awaited
// and what has come, waitMutex belongs to the condition. The client therefore tests `finished`
// before it takes waitMutex, and a final response may be noted and signalled between the two. That
// signal finds nobody waiting; Condition keeps it, the wait that follows takes it and returns at
// once, and the loop finds the response. Nothing here may assume that a wake-up means news: each
// one, whatever its cause, sends the loop back to the record.
//
// Between isAwaited and noteFinal the client may give up. Its response object may be gone then, so
// noteFinal asks again under the lock under which it writes.
#include <cerrno>

#include "sender/SenderLog.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/MutexLocker.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

constexpr const char* function = "sendRequestWaitForResponse";
constexpr unsigned long long microsecondsPerSecond = 1000000;

}  // namespace

int VelpMsgSender::sendRequestWaitForResponse(const std::string& target,
                                              const VelpClientMessageRequest& request,
                                              VelpClientMessageResponse& response,
                                              unsigned short timeout) {
  MutexLocker locker(requestMutex);
  clearWait();
  recordWait(target, request.getMsgID(), response);
  // QUIRK(21): an exception leaves the record as it is, and so the request outstanding.
  const int result = sendAndWait(target, request, timeout);
  clearWait();
  return result;
}

void VelpMsgSender::clearWait() {
  MutexLocker locker(responseWait.mutex);
  responseWait.target.clear();
  responseWait.active = false;
  responseWait.progress = false;
  responseWait.finished = false;
}

void VelpMsgSender::recordWait(const std::string& target, velpMsgID_t id,
                               VelpClientMessageResponse& response) {
  MutexLocker locker(responseWait.mutex);
  responseWait.response = &response;
  responseWait.msgID = id;
  responseWait.target = target;
  responseWait.active = true;
}

int VelpMsgSender::sendAndWait(const std::string& target, const VelpClientMessageRequest& request,
                               unsigned short timeout) {
  const velpMsgID_t id = request.getMsgID();
  if (traceLevel != 0) LogUtil::debug(senderTag, function, "Tx:", target, " id=", id);
  // Without the send lock: other threads go on sending while this one waits.
  if (!VelpBusProxy::getInstance()->sendTo(target, request)) {
    LogUtil::error(senderTag, function, "Failed to send request");
    return -1;
  }
  return waitForFinal(target, id, timeout);
}

int VelpMsgSender::waitForFinal(const std::string& target, velpMsgID_t id, unsigned short timeout) {
  const unsigned long long duration = timeout * microsecondsPerSecond;
  // QUIRK(9): the answer may come between this look for it and the lock of waitMutex.
  while (!isFinished()) {
    // QUIRK(7): every pass waits for the whole time-out again, whatever the last wake-up was for.
    if (waitForSignal(duration) == ETIMEDOUT) {
      LogUtil::error(senderTag, function, "response timeout=", timeout, "s occured for request ",
                     id, " target:", target);
      return -2;
    }
    if (takeProgress() && traceLevel != 0) LogUtil::debug(senderTag, function, "Rx progress.");
  }
  return 0;
}

bool VelpMsgSender::isFinished() {
  MutexLocker locker(responseWait.mutex);
  return responseWait.finished;
}

int VelpMsgSender::waitForSignal(unsigned long long duration) {
  MutexLocker locker(waitMutex);
  return responseCondition.wait(waitMutex, duration);
}

bool VelpMsgSender::takeProgress() {
  MutexLocker locker(responseWait.mutex);
  const bool arrived = responseWait.progress;
  responseWait.progress = false;
  return arrived;
}

void VelpMsgSender::velpBusProxyCb(const MessageBase* msg, const std::string& source,
                                   const std::string&) {
  if (!isActive() || msg == nullptr) return;
  const auto* response = dynamic_cast<const VelpClientMessageResponse*>(msg);
  if (response == nullptr) return;
  if (!isAwaited(*response, source)) {
    // QUIRK(5): a debug line that no trace level switches off.
    LogUtil::debug(senderTag, "velpBusProxyCb", "Ignore id=", response->getAnsweredID());
    return;
  }
  takeOver(*response, source);
  wakeWaiter();
}

bool VelpMsgSender::isActive() {
  MutexLocker locker(responseWait.mutex);
  return responseWait.active;
}

bool VelpMsgSender::isAwaited(const VelpClientMessageResponse& response,
                              const std::string& source) {
  MutexLocker locker(responseWait.mutex);
  return isAwaitedNoLock(response, source);
}

bool VelpMsgSender::isAwaitedNoLock(const VelpClientMessageResponse& response,
                                    const std::string& source) const {
  // QUIRK(6): nothing tells an answer to this request from a late one to an earlier request of the
  // same ID to the same target.
  return response.getAnsweredID() == responseWait.msgID && source == responseWait.target &&
         responseWait.active;
}

void VelpMsgSender::takeOver(const VelpClientMessageResponse& response, const std::string& source) {
  const VelpClientMessageResponse::msgStatus_t status = response.getStatus();
  if (status == VelpClientMessageResponse::STATUS_PROGRESS) {
    if (traceLevel != 0) LogUtil::debug(senderTag, "velpBusProxyCb", "Rx Progress");
    noteProgress();
  } else {
    if (traceLevel != 0) {
      LogUtil::debug(senderTag, "velpBusProxyCb", "Rx finished, status = ", status);
    }
    noteFinal(response, source);
  }
}

void VelpMsgSender::noteProgress() {
  MutexLocker locker(responseWait.mutex);
  responseWait.progress = true;
}

void VelpMsgSender::noteFinal(const VelpClientMessageResponse& response,
                              const std::string& source) {
  MutexLocker locker(responseWait.mutex);
  // The client may have given up since the response was matched.
  if (!isAwaitedNoLock(response, source)) return;
  *responseWait.response = response;
  responseWait.finished = true;
}

void VelpMsgSender::wakeWaiter() {
  MutexLocker locker(waitMutex);
  responseCondition.signal();
}
