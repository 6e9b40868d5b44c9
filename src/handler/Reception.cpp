// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The reception side, on the bus's thread: decides at once whether a request is taken.
//
// The test of an ID's state and the change to BUSY are one step under `mutex`, so of two requests
// that arrive together one is refused. Refusals are sent after `mutex` is released: the sender's
// locks are never taken inside it. The append and the signal are under `mutex`, so the worker
// cannot miss a wake-up between its test for work and its wait.
#include <boost/make_shared.hpp>

#include "handler/HandlerLog.h"
#include "handler/SignalLocker.h"
#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

constexpr const char* function = "velpBusProxyCb";

// A copy of its own for the worker, which names the participant to answer.
template <typename Message>
boost::shared_ptr<Message> copyFrom(const Message& message, const std::string& source) {
  auto copy = boost::make_shared<Message>(message);
  copy->setText(source);
  return copy;
}

}  // namespace

void VelpMsgHandler::velpBusProxyCb(const MessageBase* msg, const std::string& source,
                                    const std::string&) {
  if (const auto* request = dynamic_cast<const VelpClientMessageRequest*>(msg)) {
    receiveRequest(*request, source);
  } else if (const auto* response = dynamic_cast<const VelpClientMessageResponse*>(msg)) {
    receiveResponse(*response, source);
  }
}

void VelpMsgHandler::receiveRequest(const VelpClientMessageRequest& request,
                                    const std::string& source) {
  using Response = VelpClientMessageResponse;
  const requestState_t state = takeRequest(request, source);
  if (state == AVAILABLE) return;
  if (traceLevel >= 1) {
    LogUtil::debug(handlerTag, function, state == BUSY ? "request busy" : "request not available");
  }
  VelpMsgSender::getInstance()->sendResponseError(
      source, request.getMsgID(),
      state == BUSY ? Response::ERROR_BUSY : Response::ERROR_NOT_AVAILABLE, nullptr, 0);
}

requestState_t VelpMsgHandler::takeRequest(const VelpClientMessageRequest& request,
                                           const std::string& source) {
  SignalLocker locker(mutex);
  const requestState_t state = getRequestStateNoLock(request.getMsgID());
  if (state != AVAILABLE) return state;
  // Copied before the state changes: want of memory must not leave the ID busy for nothing.
  const auto copy = copyFrom(request, source);
  setRequestStateNoLock(request.getMsgID(), BUSY);
  if (traceLevel >= 1) {
    LogUtil::debug(handlerTag, function, "queue request from \"", source, "\"");
  }
  requestQueue.push(copy);
  locker.signal(condition);
  return state;
}

void VelpMsgHandler::receiveResponse(const VelpClientMessageResponse& response,
                                     const std::string& source) {
  if (takeResponse(response, source) || traceLevel < 1) return;
  LogUtil::debug(handlerTag, function, "response ignored id ", response.getAnsweredID(), " from \"",
                 source, "\"");
}

bool VelpMsgHandler::takeResponse(const VelpClientMessageResponse& response,
                                  const std::string& source) {
  SignalLocker locker(mutex);
  if (responseMap.count(response.getAnsweredID()) == 0) return false;
  const auto copy = copyFrom(response, source);
  // QUIRK(12): one level higher than the line for requests.
  if (traceLevel >= 2) {
    LogUtil::debug(handlerTag, function, "queue response from \"", source, "\"");
  }
  responseQueue.push(copy);
  locker.signal(condition);
  return true;
}

void VelpMsgHandler::velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& info) {
  constexpr const char* statusFunction = "velpBusProxyStatusCb";
  if (type == STATUS_INFORMATION) {
    LogUtil::info(handlerTag, statusFunction, "info: code=", code, ", info=", info);
  } else if (type == STATUS_WARNING) {
    // QUIRK(13): the warning line leaves the code out.
    LogUtil::warning(handlerTag, statusFunction, info);
  } else if (type == STATUS_ERROR) {
    LogUtil::error(handlerTag, statusFunction, "error: code=", code, ", info=", info);
  }
}
