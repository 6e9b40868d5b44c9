// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A bus callback that keeps what it is given.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "velp/bus/VelpBusProxyCallback.h"
#include "velp/message/SystemMessage.h"

namespace velp::test {

/// A message as a callback got it.
struct Received {
  std::shared_ptr<const MessageBase> message;
  std::string source;
  std::string receiver;
};

/// A status report as a callback got it.
struct Report {
  VelpBusProxyCallback::StatusCBType_t type;
  int code;
  std::string text;
};

/// The text of the messages that settle() sends; a recorder counts them apart.
constexpr const char* settleText = "settle";

/// Keeps messages and reports in the order of the calls, then calls a function of the test's, on
/// the reception thread. Waits end after a watchdog of 60 s.
class Recorder : public VelpBusProxyCallback {
 public:
  using Hook = std::function<void(const Received&)>;

  explicit Recorder(Hook hook = {}) : hook(std::move(hook)) {}

  void velpBusProxyCb(const MessageBase* message, const std::string& source,
                      const std::string& receiver) override {
    const Received received{std::shared_ptr<const MessageBase>(message->clone()), source, receiver};
    const auto* system = dynamic_cast<const SystemMessage*>(message);
    const bool settles = system != nullptr && system->getText() == settleText;
    {
      std::lock_guard<std::mutex> locker(mutex);
      if (settles) {
        settled.push_back(system->getNumber());
      } else {
        all.push_back(received);
      }
      changed.notify_all();
    }
    if (hook && !settles) hook(received);
  }

  void velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& text) override {
    std::lock_guard<std::mutex> locker(mutex);
    allReports.push_back({type, code, text});
    changed.notify_all();
  }

  [[nodiscard]] bool waitForMessages(std::size_t wanted) {
    return waitUntil([&] { return all.size() >= wanted; });
  }
  [[nodiscard]] bool waitForSettled(std::uint32_t number) {
    return waitUntil(
        [&] { return std::find(settled.begin(), settled.end(), number) != settled.end(); });
  }
  [[nodiscard]] bool waitForReport(int code, std::size_t wanted = 1) {
    return waitUntil([&] { return countReportsNoLock(code) >= wanted; });
  }

  std::vector<Received> messages() {
    std::lock_guard<std::mutex> locker(mutex);
    return all;
  }
  std::size_t count() {
    std::lock_guard<std::mutex> locker(mutex);
    return all.size();
  }
  /// The reports with this code.
  std::vector<Report> reports(int code) {
    std::lock_guard<std::mutex> locker(mutex);
    std::vector<Report> found;
    for (const Report& report : allReports) {
      if (report.code == code) found.push_back(report);
    }
    return found;
  }

 private:
  template <typename Predicate>
  bool waitUntil(Predicate predicate) {
    const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(60);
    std::unique_lock<std::mutex> locker(mutex);
    return changed.wait_until(locker, deadline, predicate);
  }
  std::size_t countReportsNoLock(int code) const {
    return static_cast<std::size_t>(
        std::count_if(allReports.begin(), allReports.end(),
                      [code](const Report& report) { return report.code == code; }));
  }

  const Hook hook;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Received> all;
  std::vector<Report> allReports;
  std::vector<std::uint32_t> settled;
};

}  // namespace velp::test
