// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The process's sender: every message that leaves the process goes through it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "velp/bus/VelpBusProxyCallback.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/FaultUtil.h"
#include "velp/runtime/Mutex.h"
#include "velp/runtime/Singleton.h"
#include "velpmsg/export.h"

class VelpMsgSender;

// One instance per process, in libvelpmsg, however many shared objects use it.
extern template class VELPMSG_API Singleton<VelpMsgSender>;

/// Sends requests and responses, and waits for the answer to a request.
///
///     VelpClientMessageResponse response;
///     VelpMsgSender* sender = VelpMsgSender::getInstance();
///     if (sender->sendRequestWaitForResponse("EventService", request, response, 5) == 0) ...
///
/// Threads:  any operation from any thread, also from inside handler and timer callbacks; never
///           sendRequestWaitForResponse() from a bus callback, which would wait for itself.
/// Blocks:   sendRequestWaitForResponse(); the others only while another thread sends or a log line
///           is written, never for a receiver.
/// Owns:     nothing that is passed to it; messages are copied by the bus. The instance itself is
///           deleted at exit: threads that still wait for an answer must end before main() does.
/// Fails:    sends return false when the bus refuses the message; a broken lock or condition throws
///           VelException.
class VELPMSG_API VelpMsgSender : private VelpBusProxyCallback, public Singleton<VelpMsgSender> {
 public:
  using velpMsgID_t = VelpClientMessageBase::velpMsgID_t;
  using errorCode_t = VelpClientMessageResponse::errorCode_t;

  /// Sends any message as it is.
  bool sendMsg(const std::string& target, const MessageBase& msg);

  /// Sends a request and does not wait for its answer.
  bool sendRequest(const std::string& target, const VelpClientMessageRequest& request);
  /// Sends a request with a copy of the `len` bytes at `data` as its payload, empty when `data` is
  /// null.
  bool sendRequest(const std::string& target, velpMsgID_t id, unsigned char* data,
                   unsigned int len);

  /// Sends `request` and blocks until its final response (OK or error) is in `response`.
  ///
  /// Returns 0 when it is; -1 when the bus refused the request; -2 when `timeout` seconds have
  /// passed without a final response since the request or the last progress response. Waits while
  /// another thread is inside this operation: a process has one such request outstanding at a time.
  /// When it throws VelException the wait is not withdrawn: `response` must then live on until the
  /// next synchronous request.
  [[nodiscard]] int sendRequestWaitForResponse(const std::string& target,
                                               const VelpClientMessageRequest& request,
                                               VelpClientMessageResponse& response,
                                               unsigned short timeout);

  /// Sends a response as it is.
  bool sendResponse(const std::string& target, const VelpClientMessageResponse& response);

  /// Answers request `id` with success and `data` as payload.
  bool sendResponseOK(const std::string& target, velpMsgID_t id,
                      const std::vector<unsigned char>& data);
  /// The same with the `len` bytes at `data`, none when `data` is null.
  bool sendResponseOK(const std::string& target, velpMsgID_t id, unsigned char* data,
                      unsigned int len);
  /// The same with `text` as a string field whose length prefix has `lenSize` bytes, 2 or else 1.
  bool sendResponseOK(const std::string& target, velpMsgID_t id, const std::string& text,
                      unsigned short lenSize);

  /// Answers request `id` with an error: `code` and the `len` bytes at `data`.
  bool sendResponseError(const std::string& target, velpMsgID_t id, errorCode_t code,
                         const unsigned char* data, unsigned int len);
  /// The same with `text` as a string field whose length prefix has one byte.
  bool sendResponseError(const std::string& target, velpMsgID_t id, errorCode_t code,
                         const std::string& text);

  /// Reports progress of request `id` in percent, with the `len` bytes at `data`.
  bool sendResponseProgress(const std::string& target, velpMsgID_t id, unsigned char progress,
                            unsigned char* data, unsigned int len);
  /// The same with step text number `index`, which goes along as text and as number.
  bool sendResponseProgress(const std::string& target, velpMsgID_t id, unsigned char progress,
                            unsigned short index);
  /// The same with a text of the service's own.
  bool sendResponseProgress(const std::string& target, velpMsgID_t id, unsigned char progress,
                            const std::string& text);

  /// Appends `text` to `buf` as a string field whose length prefix has `lenSize` bytes, 2 or
  /// else 1. The length wraps at the width of its prefix; all characters are appended.
  void setString(std::vector<unsigned char>& buf, unsigned short lenSize, const std::string& text);

  /// The string field at `offset` of the payload of `msg`, whose length prefix has `lenSize` (1 or
  /// 2) bytes. Empty when the prefix is not there or has another width; empty with an error line
  /// when the characters are not all there. Takes no lock.
  static std::string getString(const VelpClientMessageBase& msg, unsigned short offset,
                               unsigned short lenSize);

  /// True when the payload of `request` is `expected` bytes long (counted modulo 65,536). Otherwise
  /// answers the request, at the name in its text field, with ERROR_WRONG_LENGTH.
  [[nodiscard]] bool checkRequestLengthTxErrResponse(const VelpClientMessageRequest& request,
                                                     unsigned short expected);

  /// Files a fault record with the participant "FaultManagement": `code`, the fault's source
  /// `text1`, whether the fault came (`flag` true) or went, and `text2` about it; for the text see
  /// FaultUtil. A NUL character ends the record's text. Writes an information line with the result.
  bool sendSysMsgErrorLog(faultCode_t code, std::string text1, bool flag, std::string text2);

  /// Called by the bus for every message that reaches the process; `other` is not used.
  void velpBusProxyCb(const MessageBase* msg, const std::string& source,
                      const std::string& other) override;
  /// Called by the bus for its reports, which the sender ignores.
  void velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& info) override;

  /// Which debug lines are written: from 1 those of the synchronous request, from 2 also the entry
  /// lines. Set it at any time; the library never changes it.
  std::atomic<std::uint32_t> traceLevel{0};

 private:
  friend class Singleton<VelpMsgSender>;

  // The one pending synchronous request. Members in contract order; all but `mutex` are guarded.
  struct ResponseWait {
    VelpClientMessageResponse* response VELP_GUARDED_BY(mutex) = nullptr;  // the caller's
    velpMsgID_t msgID VELP_GUARDED_BY(mutex) = VelpClientMessageBase::MSG_UNSET;
    std::string target VELP_GUARDED_BY(mutex);
    bool active VELP_GUARDED_BY(mutex) = false;
    Mutex mutex;
    bool progress VELP_GUARDED_BY(mutex) = false;  // one has come since the waiter last looked
    bool finished VELP_GUARDED_BY(mutex) = false;  // *response holds the final response
  };

  VelpMsgSender();
  // Noexcept as its bases demand: a condition that cannot be destroyed ends the process.
  ~VelpMsgSender() noexcept override;

  // The client's side of a synchronous request.
  void clearWait();
  void recordWait(const std::string& target, velpMsgID_t id, VelpClientMessageResponse& response);
  int sendAndWait(const std::string& target, const VelpClientMessageRequest& request,
                  unsigned short timeout) VELP_REQUIRES(requestMutex);
  int waitForFinal(const std::string& target, velpMsgID_t id, unsigned short timeout)
      VELP_REQUIRES(requestMutex);
  bool isFinished();
  int waitForSignal(unsigned long long duration);
  bool takeProgress();

  // The reception thread's side of it.
  bool isActive();
  bool isAwaited(const VelpClientMessageResponse& response, const std::string& source);
  bool isAwaitedNoLock(const VelpClientMessageResponse& response, const std::string& source) const
      VELP_REQUIRES(responseWait.mutex);
  void takeOver(const VelpClientMessageResponse& response, const std::string& source);
  void noteProgress();
  void noteFinal(const VelpClientMessageResponse& response, const std::string& source);
  void wakeWaiter();

  bool sendNoLock(const std::string& target, const MessageBase& message) VELP_REQUIRES(mutex);
  void traceEntry(const char* function) const;

  Mutex waitMutex;
  // Goes with waitMutex; time-outs run on the monotonic clock.
  Condition responseCondition;
  // Guarded by its own mutex, which is never held together with waitMutex.
  ResponseWait responseWait;
  // Held for the whole of a synchronous request; taken before any other lock.
  Mutex requestMutex;
};
