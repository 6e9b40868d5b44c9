// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Serves requests: who answers which message ID, and in which state each ID is.
#pragma once

#include <atomic>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <map>
#include <queue>
#include <string>

#include "velp/bus/VelpBusProxyCallback.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velp/runtime/Condition.h"
#include "velp/runtime/Mutex.h"
#include "velp/runtime/Thread.h"
#include "velpmsg/export.h"

/// Whether requests of an ID are taken.
enum requestState_t : std::uint32_t {
  NOT_AVAILABLE = 0,  ///< refused with error code 1; also the state of IDs never registered
  AVAILABLE = 1,      ///< accepted: the ID becomes BUSY and the request is queued
  BUSY = 2,           ///< refused with error code 7
  INVALID = 3,        ///< refused with error code 1
};

/// Writes the enumerator's name; any other value through printUnknownEnum().
VELPMSG_API std::ostream& operator<<(std::ostream& os, requestState_t state);

/// Accepts requests from the bus, refuses by itself those it cannot take, and runs the registered
/// callbacks one at a time on a worker thread of its own, named velp-worker.
///
///     VelpMsgHandler handler(0);
///     handler.registerRequest(VelpClientMessageBase::MSG_GET_EVENT_LIST, AVAILABLE, serveEvents);
///
/// The constructor starts the worker: a class derived from this one is not complete when its worker
/// starts, so it must not override threadCode() or the bus callbacks.
///
/// Threads:  any operation from any thread; all but stop() also from inside a callback.
/// Blocks:   the constructor and run() until the worker gets the bus's messages; stop() and the
///           destructor until the running callback has returned; nothing else.
/// Owns:     its worker and the queued copies of messages; never the bus. The queues have no limit.
/// Fails:    registration returns -1; a broken lock or condition throws VelException; an exception
///           that leaves a callback ends the process, see Thread.
class VELPMSG_API VelpMsgHandler : public VelpBusProxyCallback, public Thread {
 public:
  using velpMsgID_t = VelpClientMessageBase::velpMsgID_t;
  /// Serves one request, whose text field names the participant to answer. The result becomes the
  /// ID's state: AVAILABLE takes the next request, BUSY refuses until somebody calls
  /// setRequestState().
  using RequestCallback = boost::function<requestState_t(const VelpClientMessageRequest&)>;
  /// Takes one response, whose text field names the participant that sent it.
  using ResponseCallback = boost::function<void(const VelpClientMessageResponse&)>;

  /// What is registered for an ID of requests, and for one of responses.
  struct RequestItem {
    requestState_t state = NOT_AVAILABLE;
    RequestCallback callback;
  };
  struct ResponseItem {
    ResponseCallback callback;
  };

  /// Makes the handler and starts its worker; on return the bus calls the handler. From trace level
  /// 1 the handler writes what it accepts and refuses, from 2 also what its worker does.
  explicit VelpMsgHandler(unsigned int traceLevel);
  /// stop(); requests still queued are released without an answer. Noexcept as its bases demand: a
  /// condition that cannot be signalled or destroyed ends the process.
  ~VelpMsgHandler() noexcept override;

  /// Calls `callback` for requests of `id` and puts the ID in state `initialState`; replaces both
  /// if the ID is registered. Returns 0, or -1 and changes nothing when `callback` is empty. Not to
  /// be called for an ID whose callback is running.
  int registerRequest(velpMsgID_t id, requestState_t initialState, RequestCallback callback);
  /// Calls `callback` for responses that answer `id`. Returns 0, or -1 when `callback` is empty.
  int registerResponse(velpMsgID_t id, ResponseCallback callback);

  /// The ID's state; NOT_AVAILABLE when it is not registered.
  requestState_t getRequestState(velpMsgID_t id);
  /// Sets the state of a registered ID; for any other it only writes a warning.
  void setRequestState(velpMsgID_t id, requestState_t state);
  /// The same two for code that holds `mutex`, which derived classes reach; never from inside a
  /// callback, which runs without it.
  requestState_t getRequestStateNoLock(velpMsgID_t id) VELP_REQUIRES(mutex);
  void setRequestStateNoLock(velpMsgID_t id, requestState_t state) VELP_REQUIRES(mutex);

  /// Starts the worker unless it is running. Called by the constructor; after stop() it starts a
  /// new one, which serves what is still queued.
  void run();
  /// Ends the worker after the callback in progress and waits for it; does nothing when it is not
  /// running. Queued requests stay unanswered and their IDs BUSY. Not from inside a callback.
  void stop();

  /// Called by the bus: accepts, refuses or queues.
  void velpBusProxyCb(const MessageBase* msg, const std::string& source,
                      const std::string& other) override;
  /// Called by the bus: writes the report to the log.
  void velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& info) override;

  /// The worker's body; not for callers.
  void threadCode() override;

 protected:
  const char* getThreadName() const override;

  // Constant after construction.
  const std::uint32_t traceLevel;

  // Guards all that follows; never held while a callback runs, nor while sending or calling the
  // bus.
  Mutex mutex;
  Condition condition;
  // Written under mutex, except by run(); run() and stop() also read it without.
  std::atomic<bool> running{false};
  std::map<velpMsgID_t, RequestItem> requestMap VELP_GUARDED_BY(mutex);
  std::map<velpMsgID_t, ResponseItem> responseMap VELP_GUARDED_BY(mutex);
  std::queue<boost::shared_ptr<VelpClientMessageRequest>> requestQueue VELP_GUARDED_BY(mutex);
  std::queue<boost::shared_ptr<VelpClientMessageResponse>> responseQueue VELP_GUARDED_BY(mutex);

 private:
  void receiveRequest(const VelpClientMessageRequest& request, const std::string& source);
  void receiveResponse(const VelpClientMessageResponse& response, const std::string& source);
  requestState_t takeRequest(const VelpClientMessageRequest& request, const std::string& source);
  bool takeResponse(const VelpClientMessageResponse& response, const std::string& source);

  void joinBus();
  void serve();
  void waitForWork() VELP_REQUIRES(mutex);
  void serveRequests() VELP_REQUIRES(mutex);
  void serveResponses() VELP_REQUIRES(mutex);
  requestState_t callBack(const VelpClientMessageRequest& request) VELP_REQUIRES(mutex);
  void callBack(const VelpClientMessageResponse& response) VELP_REQUIRES(mutex);
  bool clearRunning();
  void join();
  bool hasThread();

  // Guards Thread::handle and the worker's start: the worker asks for the handle while run() may
  // still be storing it, and run() waits until the worker gets the bus's messages.
  Mutex handleMutex;
  Condition joinedBus;
  bool onBus VELP_GUARDED_BY(handleMutex) = false;
};
