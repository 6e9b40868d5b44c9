// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Progress of one long request: what the service says, and what the ticks make of it meanwhile.
//
//   service thread                               timer thread
//   start      (mutex) sends, registers ──▶      sendProcessing   (mutex) advances, sends
//   update     (mutex) stores, sends             sendProcessing   ...
//   stop       (mutex) cancels, clears           one that has begun waits for the mutex,
//   ~handler   waits for that one ──────▶        runs to its end all the same, and is gone
//
// Cancelling under the mutex must not wait for a tick, which may itself wait for the mutex. So a
// tick can outlive stop(), and it finds whatever state is there by then: the cleared one, whose
// target no participant has, or that of the next request.
//
// It must not outlive the object. The end of the timer waits for a running tick, so it comes first,
// without the mutex, while everything the tick uses is still there.
#include "velpmsg/VelpMsgProgressHandler.h"

#include <boost/bind/bind.hpp>

#include "velp/runtime/LogUtil.h"
#include "velp/runtime/MutexLocker.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

constexpr const char* progressTag = "PHR";
constexpr unsigned char advance = 5;

}  // namespace

const char* const (&VelpMsgProgressHandler::info)[velp::stepTextCount] = velp::stepTexts;

VelpMsgProgressHandler::VelpMsgProgressHandler() {
  clear();
}

VelpMsgProgressHandler::~VelpMsgProgressHandler() {
  timer.reset();
}

int VelpMsgProgressHandler::start(const std::string& requester, velpMsgID_t id, unsigned char value,
                                  unsigned char ceiling, unsigned short index,
                                  unsigned long long period) {
  MutexLocker locker(mutex);
  traceEntry("start");
  if (active) {
    LogUtil::error(progressTag, "start", "Still active. return");
    return -1;
  }
  // QUIRK(40): the entry line once more, already from level 1.
  if (traceLevel != 0) LogUtil::debug(progressTag, "start");
  // QUIRK(46): what throws from here on leaves the handler active.
  active = true;
  interval = period;
  percent = value;
  msgId = id;
  infoIndex = index;
  maxPercent = ceiling;
  target = requester;
  sendStepNoLock();
  // QUIRK(42): a refused timer is not reported. QUIRK(48): it gets the low 16 bits of the ID.
  timerId = timer->registerTimer(
      boost::bind(&VelpMsgProgressHandler::sendProcessing, this, boost::placeholders::_1,
                  boost::placeholders::_2, boost::placeholders::_3),
      interval, static_cast<unsigned short>(id), true);
  return 0;
}

VelTimer::timerResult_t VelpMsgProgressHandler::sendProcessing(unsigned long long, unsigned short,
                                                               unsigned long long&) {
  // QUIRK(44): a tick does not ask whether the handler is active.
  MutexLocker locker(mutex);
  if (percent + advance <= maxPercent) percent = static_cast<unsigned char>(percent + advance);
  if (traceLevel != 0) {
    LogUtil::debug(progressTag, "sendProcessing", target, " ", msgId, ": ",
                   static_cast<unsigned int>(percent), "% Info:", infoTextNoLock());
  }
  sendStepNoLock();
  return VelTimer::TIMER_CONTINUE;
}

int VelpMsgProgressHandler::update(unsigned char value, unsigned char ceiling,
                                   unsigned short index) {
  MutexLocker locker(mutex);
  if (!enterActiveNoLock("update")) return -1;
  maxPercent = ceiling;
  percent = value;
  infoIndex = index;
  return reportStepNoLock("update");
}

int VelpMsgProgressHandler::update(unsigned char value, unsigned char ceiling,
                                   const std::string& text) {
  MutexLocker locker(mutex);
  if (!enterActiveNoLock("update")) return -1;
  maxPercent = ceiling;
  percent = value;
  // QUIRK(43): the text is not kept, the next tick reports the step set last.
  return reportTextNoLock("update", text);
}

int VelpMsgProgressHandler::updateInfo(unsigned short index) {
  MutexLocker locker(mutex);
  if (!enterActiveNoLock("updateInfo")) return -1;
  infoIndex = index;
  return reportStepNoLock("updateInfo");
}

int VelpMsgProgressHandler::updateInfo(const std::string& text) {
  MutexLocker locker(mutex);
  if (!enterActiveNoLock("updateInfo")) return -1;
  return reportTextNoLock("updateInfo", text);
}

void VelpMsgProgressHandler::stop() {
  MutexLocker locker(mutex);
  traceEntry("stop");
  timer->cancelTimer(timerId);
  clear();
}

void VelpMsgProgressHandler::clear() {
  msgId = static_cast<velpMsgID_t>(0);
  // QUIRK(47): the handle is forgotten; a timer that was not cancelled before ticks on.
  timerId = 0;
  interval = 0;
  infoIndex = 0;
  active = false;
  percent = 0;
  // QUIRK(45): neither 0 nor 100.
  maxPercent = 90;
  target.clear();
}

bool VelpMsgProgressHandler::enterActiveNoLock(const char* function) {
  traceEntry(function);
  if (!active) LogUtil::error(progressTag, function, "Not active. return");
  return active;
}

void VelpMsgProgressHandler::traceEntry(const char* function) const {
  if (traceLevel > 1) LogUtil::debug(progressTag, function);
}

int VelpMsgProgressHandler::reportStepNoLock(const char* function) {
  if (traceLevel != 0) {
    LogUtil::debug(progressTag, function, "Send to:", target, " Info:", infoTextNoLock());
  }
  sendStepNoLock();
  return 0;
}

int VelpMsgProgressHandler::reportTextNoLock(const char* function, const std::string& text) {
  if (traceLevel != 0) {
    LogUtil::debug(progressTag, function, "Send to:", target, " Info:", text);
  }
  VelpMsgSender::getInstance()->sendResponseProgress(target, msgId, percent, text);
  return 0;
}

void VelpMsgProgressHandler::sendStepNoLock() {
  // QUIRK(41): whether anybody got it is not asked.
  VelpMsgSender::getInstance()->sendResponseProgress(target, msgId, percent, infoIndex);
}

const char* VelpMsgProgressHandler::infoTextNoLock() const {
  return infoIndex < velp::stepTextCount ? info[infoIndex] : "";
}
