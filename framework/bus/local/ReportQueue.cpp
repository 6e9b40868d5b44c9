// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The queue and its eventfd.
#include "bus/local/ReportQueue.h"

#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "velp/runtime/MutexLocker.h"
#include "velp/runtime/VelException.h"

namespace velp {

std::uint64_t monotonicMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

ReportQueue::ReportQueue() : wakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wakeFd) throw VelException(errno, "cannot make an event descriptor for the bus");
}

void ReportQueue::wake() {
  const std::uint64_t one = 1;
  // A full counter is readable too, so a refused write loses nothing.
  const ssize_t written = write(wakeFd.get(), &one, sizeof one);
  static_cast<void>(written);
}

void ReportQueue::linkReport(VelpBusProxyCallback::StatusCBType_t type, int code,
                             const std::string& text) {
  {
    MutexLocker locker(mutex);
    reports.push_back({type, code, text});
  }
  wake();
}

void ReportQueue::refusal(int code, std::string text) {
  {
    MutexLocker locker(mutex);
    if (!limiter.admit(monotonicMilliseconds(), text)) return;
    reports.push_back({VelpBusProxyCallback::STATUS_WARNING, code, std::move(text)});
  }
  wake();
}

void ReportQueue::hand(TransportSink& sink) {
  std::vector<Report> taken;
  {
    MutexLocker locker(mutex);
    taken.swap(reports);
  }
  for (const Report& report : taken) sink.onStatus(report.type, report.code, report.text);
}

}  // namespace velp
