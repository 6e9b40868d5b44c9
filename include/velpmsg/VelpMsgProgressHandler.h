// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Keeps the requester of a long operation informed: at once, on every tick and on every update.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "velp/message/VelpClientMessageBase.h"
#include "velp/runtime/Mutex.h"
#include "velp/runtime/VelTimer.h"
#include "velpmsg/StepTexts.h"
#include "velpmsg/export.h"

/// Sends progress responses for one request between start() and stop(): one at once, one on every
/// tick of a timer, which also advances the percentage, and one on every update.
///
///     VelpMsgProgressHandler progress;
///     progress.start(request.getText(), request.getMsgID(), 0, 90, 4, 1000);
///     progress.update(50, 90, 16);
///     progress.stop();
///
/// Threads:  any operation from any thread, also from inside handler and timer callbacks; clear()
///           with the lock held; the destructor when no other operation runs or follows.
/// Blocks:   the destructor until a running tick has returned; the others only while another
///           operation or a tick of this object runs, the process sends, or a log line is written.
///           None waits for the requester.
/// Owns:     its timer and copies of what it is given. start() never keeps the request.
/// Fails:    calls that come at the wrong time return -1. Refused sends and a refused timer are not
///           reported. Exceptions of the sender or the timer reach the caller, with the lock
///           released; one out of a tick ends the ticks, see VelTimer, until the next start().
class VELPMSG_API VelpMsgProgressHandler {
 public:
  using velpMsgID_t = VelpClientMessageBase::velpMsgID_t;

  /// The step texts by index, 0 to 33; any other index means the empty text.
  static const char* const (&info)[velp::stepTextCount];

  /// Makes an inactive handler.
  VelpMsgProgressHandler();
  /// Ends the ticks. Sends nothing and writes no line, active or not.
  ~VelpMsgProgressHandler();
  VelpMsgProgressHandler(const VelpMsgProgressHandler&) = delete;
  VelpMsgProgressHandler& operator=(const VelpMsgProgressHandler&) = delete;

  /// Reports to participant `requester` that request `id` is at `value` percent and in step
  /// `index`, and does so again every `period` milliseconds. Each of these ticks first adds 5
  /// percent, unless that would pass `ceiling`. Returns 0, or -1 and changes nothing when active.
  /// A `period` of 0 means no ticks.
  int start(const std::string& requester, velpMsgID_t id, unsigned char value,
            unsigned char ceiling, unsigned short index, unsigned long long period);

  /// Reports `value` percent and step `index`, which the ticks go on from, up to `ceiling`. A value
  /// above the ceiling is reported, too, and stays. Returns 0, or -1 when not active.
  int update(unsigned char value, unsigned char ceiling, unsigned short index);
  /// The same with a text of the service's own in place of the step, this once: the ticks go on
  /// with the step set last. A text of more than 255 characters does not read back.
  int update(unsigned char value, unsigned char ceiling, const std::string& text);
  /// Reports step `index` at the present percentage. Returns 0, or -1 when not active.
  int updateInfo(unsigned short index);
  /// The same with a text of the service's own, this once; of at most 255 characters, as above.
  int updateInfo(const std::string& text);

  /// Ends the ticks and makes the handler inactive, ready for the next start(). Sends nothing: the
  /// service sends its final response itself. One tick that already runs is not waited for and may
  /// come after the return; it reaches nobody, or counts for the start() that overtook it.
  void stop();

  /// Makes the handler inactive without ending its ticks: part of stop(), for code that holds
  /// `mutex`, which derived classes reach.
  void clear() VELP_REQUIRES(mutex);

  /// One tick, called by the timer; the arguments are ignored.
  VelTimer::timerResult_t sendProcessing(unsigned long long due, unsigned short id,
                                         unsigned long long& period);

  /// Which debug lines are written: from 1 what is sent, from 2 also the entry lines. Set it at any
  /// time; the library never changes it.
  std::atomic<std::uint32_t> traceLevel{0};

 protected:
  // Guards all but the timer itself; held while sending. The log's and the sender's locks are taken
  // inside it, the other way round never.
  Mutex mutex;

 private:
  bool enterActiveNoLock(const char* function) VELP_REQUIRES(mutex);
  void traceEntry(const char* function) const;
  int reportStepNoLock(const char* function) VELP_REQUIRES(mutex);
  int reportTextNoLock(const char* function, const std::string& text) VELP_REQUIRES(mutex);
  void sendStepNoLock() VELP_REQUIRES(mutex);
  const char* infoTextNoLock() const VELP_REQUIRES(mutex);

  // Has a value for life, until the destructor takes it away ahead of what the ticks use.
  std::optional<VelTimer> timer{std::in_place};
  velpMsgID_t msgId VELP_GUARDED_BY(mutex);
  unsigned short timerId VELP_GUARDED_BY(mutex);
  unsigned long long interval VELP_GUARDED_BY(mutex);
  unsigned short infoIndex VELP_GUARDED_BY(mutex);
  bool active VELP_GUARDED_BY(mutex);
  unsigned char percent VELP_GUARDED_BY(mutex);
  unsigned char maxPercent VELP_GUARDED_BY(mutex);
  std::string target VELP_GUARDED_BY(mutex);
};
