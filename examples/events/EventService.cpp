// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Two request callbacks, run one at a time by the handler's worker thread.
#include "EventService.h"

#include <SQLiteCpp/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "../say.h"
#include "PackageLog.h"
#include "velp/bus/VelpBusProxy.h"
#include "velp/runtime/LogUtil.h"
#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

constexpr unsigned int modeAll = 0;
constexpr unsigned int modeSpans = 1;
constexpr unsigned int spanOfNumbers = 0;
constexpr unsigned int spanOfText = 1;

void tellGone(const std::string& client) {
  say(stdout, "{} has gone, its answer is dropped", velp::escaped(client));
}

bool isKnown(const VelpMsgReqRmData::span_t& span) {
  return span.type == spanOfNumbers || span.type == spanOfText;
}

}  // namespace

EventService::EventService(EventStore& store, std::size_t limit, std::chrono::milliseconds delay)
    : store(store), limit(limit), delay(delay), handler(0) {
  handler.registerRequest(VelpClientMessageBase::MSG_GET_EVENT_LIST, AVAILABLE,
                          [this](const VelpClientMessageRequest& request) {
                            return serve(request, &EventService::answerList);
                          });
  handler.registerRequest(VelpClientMessageBase::MSG_REMOVE_DATA, AVAILABLE,
                          [this](const VelpClientMessageRequest& request) {
                            return serve(request, &EventService::answerRemoval);
                          });
}

EventService::~EventService() {
  {
    std::lock_guard<std::mutex> locker(mutex);
    ending = true;
  }
  changed.notify_all();
  handler.stop();
  VelpBusProxy::getInstance()->disconnect();
}

void EventService::join(const std::string& name, const std::string& address) {
  VelpBusProxy::getInstance()->connect(name, address);
}

requestState_t EventService::serve(const VelpClientMessageRequest& request,
                                   void (EventService::*answer)(const VelpClientMessageRequest&)) {
  say(stdout, "serving {}", velp::escaped(request.getText()));
  takeTime();
  try {
    (this->*answer)(request);
  } catch (const SQLite::Exception& error) {
    say(stderr, "event-service: the store failed: {}", error.what());
    refuse(request, ERROR_STORE, error.what());
  }
  return AVAILABLE;
}

void EventService::takeTime() {
  std::unique_lock<std::mutex> locker(mutex);
  changed.wait_for(locker, delay, [this] { return ending; });
}

void EventService::answerList(const VelpClientMessageRequest& request) {
  VelpMsgReqGetEventList list;
  list.events = store.events();
  keepMostRecent(list.events, limit);
  std::vector<unsigned char> payload;
  list.setResponseData(payload);
  // Open before the answer is out: whoever has the answer may ask again at once.
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  if (!VelpMsgSender::getInstance()->sendResponseOK(request.getText(), request.getMsgID(),
                                                    payload)) {
    tellGone(request.getText());
  }
}

void EventService::answerRemoval(const VelpClientMessageRequest& request) {
  VelpMsgReqRmData what;
  // The payload is a stranger's: only the overload that knows where it ends is safe.
  const auto& payload = request.getPayload();
  if (!what.setData(payload.data(), payload.size())) {
    refuse(request, VelpClientMessageResponse::ERROR_WRONG_LENGTH,
           "the payload ends before what it announces");
  } else if (what.mode != modeAll && what.mode != modeSpans) {
    refuse(request, ERROR_UNKNOWN_MODE,
           fmt::format("mode {} is unknown: 0 removes all, 1 what the spans tell", what.mode));
  } else if (!std::all_of(what.spans.begin(), what.spans.end(), isKnown)) {
    refuse(request, ERROR_UNKNOWN_SPAN,
           "a span is neither two numbers (type 0) nor a text (type 1)");
  } else {
    remove(request, what);
  }
}

void EventService::remove(const VelpClientMessageRequest& request, VelpMsgReqRmData& what) {
  const std::size_t count = what.mode == modeAll ? store.removeAll() : store.remove(what.spans);
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  const std::string answer = fmt::format("removed {} events", count);
  if (!VelpMsgSender::getInstance()->sendResponseOK(request.getText(), request.getMsgID(), answer,
                                                    1)) {
    tellGone(request.getText());
  }
}

void EventService::refuse(const VelpClientMessageRequest& request, unsigned int code,
                          const std::string& text) {
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  const auto errorCode = static_cast<VelpClientMessageResponse::errorCode_t>(code);
  if (!VelpMsgSender::getInstance()->sendResponseError(request.getText(), request.getMsgID(),
                                                       errorCode, text)) {
    tellGone(request.getText());
  }
}
