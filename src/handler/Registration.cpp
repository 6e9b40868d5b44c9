// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The tables of callbacks and request states.
#include <utility>

#include "handler/HandlerLog.h"
#include "velp/runtime/MutexLocker.h"
#include "velpmsg/VelpMsgHandler.h"

int VelpMsgHandler::registerRequest(velpMsgID_t id, requestState_t initialState,
                                    RequestCallback callback) {
  if (callback.empty()) return -1;
  MutexLocker locker(mutex);
  requestMap[id] = RequestItem{initialState, std::move(callback)};
  return 0;
}

int VelpMsgHandler::registerResponse(velpMsgID_t id, ResponseCallback callback) {
  if (callback.empty()) return -1;
  MutexLocker locker(mutex);
  responseMap[id] = ResponseItem{std::move(callback)};
  return 0;
}

requestState_t VelpMsgHandler::getRequestState(velpMsgID_t id) {
  MutexLocker locker(mutex);
  return getRequestStateNoLock(id);
}

requestState_t VelpMsgHandler::getRequestStateNoLock(velpMsgID_t id) {
  const auto item = requestMap.find(id);
  return item == requestMap.end() ? NOT_AVAILABLE : item->second.state;
}

void VelpMsgHandler::setRequestState(velpMsgID_t id, requestState_t state) {
  MutexLocker locker(mutex);
  setRequestStateNoLock(id, state);
}

void VelpMsgHandler::setRequestStateNoLock(velpMsgID_t id, requestState_t state) {
  constexpr const char* function = "setRequestStateNoLock";
  if (traceLevel >= 1) LogUtil::debug(handlerTag, function, id, ": ", state);
  const auto item = requestMap.find(id);
  if (item == requestMap.end()) {
    LogUtil::warning(handlerTag, function, "msgID ", id, " not found");
    return;
  }
  item->second.state = state;
}
