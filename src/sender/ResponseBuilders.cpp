// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The responses that the sender builds: OK, error and progress.
#include "sender/StringField.h"
#include "velp/runtime/MutexLocker.h"
#include "velpmsg/StepTexts.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

using Response = VelpClientMessageResponse;

std::string stepText(unsigned short index) {
  return index < velp::stepTextCount ? velp::stepTexts[index] : "";
}

std::vector<unsigned char> progressPayload(unsigned char progress, const std::string& text) {
  std::vector<unsigned char> payload(1, progress);
  appendStringField(payload, 1, text);
  return payload;
}

}  // namespace

bool VelpMsgSender::sendResponseOK(const std::string& target, velpMsgID_t id,
                                   const std::vector<unsigned char>& data) {
  MutexLocker locker(mutex);
  traceEntry("sendResponseOK");
  Response response(id, Response::STATUS_OK);
  response.setPayload(data);
  response.setFlag(1);
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseOK(const std::string& target, velpMsgID_t id, unsigned char* data,
                                   unsigned int len) {
  MutexLocker locker(mutex);
  traceEntry("sendResponseOK");
  // QUIRK(4): the two other OK builders set the flag byte, this one leaves it alone.
  Response response(id, Response::STATUS_OK);
  if (data != nullptr) response.setPayload(std::vector<unsigned char>(data, data + len));
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseOK(const std::string& target, velpMsgID_t id,
                                   const std::string& text, unsigned short lenSize) {
  MutexLocker locker(mutex);
  Response response(id, Response::STATUS_OK);
  std::vector<unsigned char> payload;
  appendStringField(payload, lenSize, text);
  response.setPayload(std::move(payload));
  response.setFlag(1);
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseError(const std::string& target, velpMsgID_t id, errorCode_t code,
                                      const unsigned char* data, unsigned int len) {
  MutexLocker locker(mutex);
  traceEntry("sendResponseError");
  Response response(id, Response::STATUS_ERROR);
  response.setErrorInfo(code, data, len);
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseError(const std::string& target, velpMsgID_t id, errorCode_t code,
                                      const std::string& text) {
  MutexLocker locker(mutex);
  std::vector<unsigned char> block;
  appendStringField(block, 1, text);
  Response response(id, Response::STATUS_ERROR);
  response.setErrorInfo(code, block.data(), static_cast<unsigned int>(block.size()));
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseProgress(const std::string& target, velpMsgID_t id,
                                         unsigned char progress, unsigned char* data,
                                         unsigned int len) {
  MutexLocker locker(mutex);
  traceEntry("sendResponseProgress");
  Response response(id, Response::STATUS_PROGRESS);
  response.setProgressInfo(progress, data, len);
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseProgress(const std::string& target, velpMsgID_t id,
                                         unsigned char progress, unsigned short index) {
  MutexLocker locker(mutex);
  traceEntry("sendResponseProgress");
  std::vector<unsigned char> payload = progressPayload(progress, stepText(index));
  payload.push_back(static_cast<unsigned char>(index >> 8));
  payload.push_back(static_cast<unsigned char>(index));
  Response response(id, Response::STATUS_PROGRESS);
  response.setPayload(std::move(payload));
  return sendNoLock(target, response);
}

bool VelpMsgSender::sendResponseProgress(const std::string& target, velpMsgID_t id,
                                         unsigned char progress, const std::string& text) {
  MutexLocker locker(mutex);
  traceEntry("sendResponseProgress");
  Response response(id, Response::STATUS_PROGRESS);
  response.setPayload(progressPayload(progress, text));
  return sendNoLock(target, response);
}
