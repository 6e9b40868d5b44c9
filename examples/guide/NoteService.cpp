// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Request callbacks, run one at a time by the handler's worker thread.
#include "NoteService.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "notes.h"
#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

// [snippet steps]
// Indexes of the texts in velpmsg/StepTexts.h.
constexpr unsigned short copying = 13;  // "Copying all data..."
constexpr unsigned short syncing = 16;  // "Syncing file system..."
// [snippet]

}  // namespace

// [snippet register]
NoteService::NoteService(std::size_t limit, const std::string& file, std::chrono::milliseconds pace)
    : limit(limit), file(file), pace(pace), handler(0) {
  serveRequests(MSG_ADD_NOTE, &NoteService::add);
  serveRequests(MSG_GET_NOTE, &NoteService::get);
  serveRequests(VelpClientMessageBase::MSG_GET_EVENT_LIST, &NoteService::list);
  serveRequests(VelpClientMessageBase::MSG_REMOVE_DATA, &NoteService::remove);
  serveRequests(MSG_EXPORT_NOTES, &NoteService::exportAll);
}

void NoteService::serveRequests(VelpClientMessageBase::velpMsgID_t id, Operation operation) {
  handler.registerRequest(
      id, AVAILABLE, [this, operation](const VelpClientMessageRequest& request) {
        try {
          return (this->*operation)(request);
        } catch (const std::exception& error) {
          return refuse(request, VelpClientMessageResponse::ERROR_NOT_AVAILABLE, error.what());
        }
      });
}
// [snippet]

// [snippet end]
NoteService::~NoteService() {
  {
    std::lock_guard<std::mutex> locker(mutex);
    ending = true;
  }
  changed.notify_all();  // a long request ends its pauses
  handler.stop();        // waits for the callback in progress
}
// [snippet]

// [snippet answer]
requestState_t NoteService::answer(const VelpClientMessageRequest& request, const std::string& text,
                                   requestState_t next) {
  // Set before the answer is out: whoever has the answer may ask again at once.
  handler.setRequestState(request.getMsgID(), next);
  VelpMsgSender::getInstance()->sendResponseOK(request.getText(), request.getMsgID(), text, 2);
  return next;
}

requestState_t NoteService::refuse(const VelpClientMessageRequest& request,
                                   VelpClientMessageResponse::errorCode_t code,
                                   const std::string& text) {
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  VelpMsgSender::getInstance()->sendResponseError(request.getText(), request.getMsgID(), code,
                                                  text.substr(0, 255));
  return AVAILABLE;
}
// [snippet]

// [snippet add]
requestState_t NoteService::add(const VelpClientMessageRequest& request) {
  const std::string text = VelpMsgSender::getString(request, 0, 2);
  if (text.empty()) return refuse(request, ERROR_BAD_TEXT, "a note is a text that is not empty");
  notes[++lastNumber] = text;
  return answer(request, std::to_string(lastNumber),
                notes.size() < limit ? AVAILABLE : NOT_AVAILABLE);
}
// [snippet]

// [snippet get]
requestState_t NoteService::get(const VelpClientMessageRequest& request) {
  VelpMsgSender* sender = VelpMsgSender::getInstance();
  // Before the answer, as in answer(): the check may send one.
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  if (!sender->checkRequestLengthTxErrResponse(request, 4)) return AVAILABLE;
  const auto found = notes.find(numberIn(request));
  if (found == notes.end()) return refuse(request, ERROR_NO_SUCH_NOTE, "no such note");
  return answer(request, found->second);
}
// [snippet]

// [snippet list]
requestState_t NoteService::list(const VelpClientMessageRequest& request) {
  VelpMsgReqGetEventList list;
  for (const auto& [number, text] : notes) {
    std::string carried = text;
    std::replace(carried.begin(), carried.end(), ' ', '_');
    std::replace(carried.begin(), carried.end(), ';', '_');
    list.events.push_back({number, carried, 0});
  }
  std::vector<unsigned char> payload;
  list.setResponseData(payload);
  handler.setRequestState(request.getMsgID(), AVAILABLE);
  VelpMsgSender::getInstance()->sendResponseOK(request.getText(), request.getMsgID(), payload);
  return AVAILABLE;
}
// [snippet]

// [snippet remove]
requestState_t NoteService::remove(const VelpClientMessageRequest& request) {
  VelpMsgReqRmData what;
  const auto& payload = request.getPayload();
  if (!what.setData(payload.data(), payload.size())) {
    return refuse(request, VelpClientMessageResponse::ERROR_WRONG_LENGTH, "payload is cut short");
  }
  if (what.mode > 1) return refuse(request, ERROR_UNKNOWN_REMOVAL, "only modes 0 and 1 are known");
  std::size_t count = notes.size();
  if (what.mode == 0) {
    notes.clear();
  } else {
    count = removeSpans(what);
  }
  if (notes.size() < limit) handler.setRequestState(MSG_ADD_NOTE, AVAILABLE);
  return answer(request, std::to_string(count));
}

std::size_t NoteService::removeSpans(VelpMsgReqRmData& what) {
  std::size_t count = 0;
  for (VelpMsgReqRmData::span_t span; what.getNextSpan(span);) count += removeSpan(span);
  return count;
}
// [snippet]

// Type 0 removes the notes with these numbers, type 1 those that have this text in them.
std::size_t NoteService::removeSpan(const VelpMsgReqRmData::span_t& span) {
  std::size_t count = 0;
  for (auto note = notes.begin(); note != notes.end();) {
    const bool inRange = span.type == 0 && note->first >= span.from && note->first <= span.to;
    const bool hasText = span.type == 1 && note->second.find(span.text) != std::string::npos;
    if (inRange || hasText) {
      note = notes.erase(note);
      ++count;
    } else {
      ++note;
    }
  }
  return count;
}

// [snippet export]
requestState_t NoteService::exportAll(const VelpClientMessageRequest& request) {
  VelpMsgProgressHandler progress;
  progress.start(request.getText(), request.getMsgID(), 0, 0, copying, 1000);
  std::ofstream out(file);
  copyTo(out, progress);
  progress.update(95, 95, syncing);
  out.close();
  progress.stop();

  if (!out) {
    VelpMsgSender::getInstance()->sendSysMsgErrorLog(static_cast<faultCode_t>(MSG_EXPORT_NOTES),
                                                     "NoteService", true, "cannot write " + file);
    return refuse(request, ERROR_NOT_EXPORTED, "cannot write " + file);
  }
  return answer(request, file);
}

void NoteService::copyTo(std::ofstream& out, VelpMsgProgressHandler& progress) {
  const std::size_t size = notes.size();
  std::size_t done = 0;
  for (const auto& [number, text] : notes) {
    const auto percent = static_cast<unsigned char>(done * 95 / size);
    const auto ceiling = static_cast<unsigned char>((done + 1) * 95 / size);
    progress.update(percent, ceiling, copying);
    takeTime();
    out << number << ' ' << text << '\n';
    ++done;
    progress.updateInfo(std::to_string(done) + " of " + std::to_string(size) + " notes");
  }
}
// [snippet]

void NoteService::takeTime() {
  std::unique_lock<std::mutex> locker(mutex);
  changed.wait_for(locker, pace, [this] { return ending; });
}
