// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The guide's service: keeps short texts in memory.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

#include "velpmsg/VelpMsgHandler.h"
#include "velpmsg/VelpMsgProgressHandler.h"
#include "velpmsg/VelpMsgReqRmData.h"

// [snippet class]
/// Adds, gets, lists, removes and exports notes while it exists.
class NoteService {
 public:
  /// Keeps up to `limit` notes. Exports go to `file` and take `pace` for each note.
  NoteService(std::size_t limit, const std::string& file, std::chrono::milliseconds pace);
  /// Finishes the request in progress.
  ~NoteService();

 private:
  using Operation = requestState_t (NoteService::*)(const VelpClientMessageRequest&);

  void serveRequests(VelpClientMessageBase::velpMsgID_t id, Operation operation);
  requestState_t add(const VelpClientMessageRequest& request);
  requestState_t get(const VelpClientMessageRequest& request);
  requestState_t list(const VelpClientMessageRequest& request);
  requestState_t remove(const VelpClientMessageRequest& request);
  requestState_t exportAll(const VelpClientMessageRequest& request);

  requestState_t answer(const VelpClientMessageRequest& request, const std::string& text,
                        requestState_t next = AVAILABLE);
  requestState_t refuse(const VelpClientMessageRequest& request,
                        VelpClientMessageResponse::errorCode_t code, const std::string& text);
  // [snippet]
  std::size_t removeSpans(VelpMsgReqRmData& what);
  std::size_t removeSpan(const VelpMsgReqRmData::span_t& span);
  void copyTo(std::ofstream& out, VelpMsgProgressHandler& progress);
  void takeTime();

  const std::size_t limit;
  const std::string file;
  const std::chrono::milliseconds pace;
  std::map<std::uint32_t, std::string> notes;  // used by the handler's worker alone
  std::uint32_t lastNumber = 0;                // likewise

  std::mutex mutex;
  std::condition_variable changed;
  bool ending = false;  // guarded by mutex

  VelpMsgHandler handler;  // last: its worker uses the members above
};
