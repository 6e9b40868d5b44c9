// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Answers requests for the event list, and requests to remove events.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

#include "EventStore.h"
#include "velpmsg/VelpMsgHandler.h"

/// Error codes of the service's own, beside the library's.
enum EventServiceError : unsigned int {
  ERROR_UNKNOWN_MODE = 100,  ///< a remove-data request in another mode than all or spans
  ERROR_UNKNOWN_SPAN = 101,  ///< a span that is neither two numbers nor a text
  ERROR_STORE = 102,         ///< the store refused; the text says why
};

/// Serves the events of a store under message ID 50, and removes some or all of them under message
/// ID 3, while it exists.
class EventService {
 public:
  /// Serves at most `limit` of the latest events, and takes `delay` over each request, so that one
  /// can watch what happens meanwhile.
  EventService(EventStore& store, std::size_t limit, std::chrono::milliseconds delay);
  /// Cuts a running delay short, finishes the request that is being served, and drops the others.
  ~EventService();
  EventService(const EventService&) = delete;
  EventService& operator=(const EventService&) = delete;

  /// Joins the bus. Throws VelException when that fails.
  void join(const std::string& name, const std::string& address);

 private:
  requestState_t serve(const VelpClientMessageRequest& request,
                       void (EventService::*answer)(const VelpClientMessageRequest&));
  void takeTime();
  void answerList(const VelpClientMessageRequest& request);
  void answerRemoval(const VelpClientMessageRequest& request);
  void remove(const VelpClientMessageRequest& request, VelpMsgReqRmData& what);
  void refuse(const VelpClientMessageRequest& request, unsigned int code, const std::string& text);

  EventStore& store;  // used by the handler's worker alone
  const std::size_t limit;
  const std::chrono::milliseconds delay;

  std::mutex mutex;
  std::condition_variable changed;
  bool ending = false;  // guarded by mutex

  VelpMsgHandler handler;  // last: its worker uses the members above
};
