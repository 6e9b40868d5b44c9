// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The sender's life, and the sends that take a finished message.
#include "velpmsg/VelpMsgSender.h"

#include "sender/SenderLog.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/MutexLocker.h"

template class Singleton<VelpMsgSender>;

VelpMsgSender::VelpMsgSender() : responseCondition(CLOCK_MONOTONIC) {
  // QUIRK(2): the level has just been set to 0, so this line never appears.
  traceEntry("VelpMsgSender");
  // Last: from here on the reception thread calls this object.
  VelpBusProxy::getInstance()->setCallBack(*this);
}

VelpMsgSender::~VelpMsgSender() noexcept {
  traceEntry("~VelpMsgSender");
  VelpBusProxy::getInstance()->removeCallBack(*this);
  traceEntry("~VelpMsgSender");
}

bool VelpMsgSender::sendMsg(const std::string& target, const MessageBase& msg) {
  MutexLocker locker(mutex);
  return sendNoLock(target, msg);
}

bool VelpMsgSender::sendRequest(const std::string& target,
                                const VelpClientMessageRequest& request) {
  MutexLocker locker(mutex);
  traceEntry("sendRequest");
  return sendNoLock(target, request);
}

bool VelpMsgSender::sendRequest(const std::string& target, velpMsgID_t id, unsigned char* data,
                                unsigned int len) {
  MutexLocker locker(mutex);
  traceEntry("sendRequest");
  return sendNoLock(target, VelpClientMessageRequest(id, data, len));
}

bool VelpMsgSender::sendResponse(const std::string& target,
                                 const VelpClientMessageResponse& response) {
  MutexLocker locker(mutex);
  if (traceLevel > 1) LogUtil::debug(senderTag, "sendResponse", " ", response);
  return sendNoLock(target, response);
}

void VelpMsgSender::velpBusProxyStatusCb(StatusCBType_t, int, const std::string&) {
  traceEntry("velpBusProxyStatusCb");
}

bool VelpMsgSender::sendNoLock(const std::string& target, const MessageBase& message) {
  return VelpBusProxy::getInstance()->sendTo(target, message);
}

void VelpMsgSender::traceEntry(const char* function) const {
  if (traceLevel > 1) LogUtil::debug(senderTag, function);
}
