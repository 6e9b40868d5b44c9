// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Answers requests for the event list.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgReqGetEventList.h"

/// Serves one list of events under message ID 50 while it exists.
class EventService {
 public:
  /// Takes `delay` over each request, so that one can watch what happens meanwhile.
  EventService(std::vector<VelpMsgReqGetEventList::Event> events, std::chrono::milliseconds delay);
  /// Cuts a running delay short, finishes the request that is being served, and drops the others.
  ~EventService();
  EventService(const EventService&) = delete;
  EventService& operator=(const EventService&) = delete;

  /// Joins the bus. Throws VelException when that fails.
  void join(const std::string& name, const std::string& address);

 private:
  requestState_t serve(const VelpClientMessageRequest& request);
  void takeTime();

  VelpMsgReqGetEventList list;
  const std::chrono::milliseconds delay;

  std::mutex mutex;
  std::condition_variable changed;
  bool ending = false;  // guarded by mutex

  VelpMsgHandler handler;  // last: its worker uses the members above
};
