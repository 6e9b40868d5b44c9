// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The transport between participants of one process.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>

#include "bus/ReportLimiter.h"
#include "bus/Transport.h"
#include "bus/inproc/Hub.h"
#include "velp/bus/StatusCode.h"
#include "velp/runtime/LogUtil.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

std::uint64_t monotonicMilliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

// A name is proven by construction: only its transport puts frames under it.
class InprocTransport : public Transport {
 public:
  InprocTransport(const std::string& name, const std::string& hubName)
      : name(name), hub(Hub::get(hubName)), inbox(hub->join(name)) {
    if (inbox != nullptr) return;
    const std::string text = "the name " + name + " is taken on inproc:" + hubName +
                             " by process " + std::to_string(getpid()) +
                             ": choose another, or disconnect that participant";
    throw VelException(EADDRINUSE, text.c_str());
  }

  ~InprocTransport() override { hub->leave(name); }

  bool send(const std::string& target, const unsigned char* bytes, std::size_t size) override {
    const std::shared_ptr<Inbox> targets = hub->find(target);
    return targets != nullptr && targets->put(name, bytes, size);
  }

  void receive(TransportSink& sink) override {
    while (!stopping) {
      for (const Inbox::Frame& frame : inbox->takeAll()) {
        if (stopping) return;
        handOver(frame, sink);
      }
    }
  }

  void stop() override {
    stopping = true;
    inbox->stop();
  }

  // Matters to a child forked inside a callback: its copy of the reception thread ends with that
  // call, instead of waiting for frames that nobody can send.
  void closeAfterFork() noexcept override { stopping = true; }

 private:
  void handOver(const Inbox::Frame& frame, TransportSink& sink) {
    std::string reason;
    if (sink.onFrame(frame.source, frame.bytes.data(), frame.bytes.size(), reason)) return;
    std::string text = "refused a frame from " + frame.source + ": " + reason;
    if (!limiter.admit(monotonicMilliseconds(), text)) return;
    sink.onStatus(VelpBusProxyCallback::STATUS_WARNING, STATUS_FRAME_REFUSED, text);
  }

  const std::string name;
  const std::shared_ptr<Hub> hub;
  const std::shared_ptr<Inbox> inbox;
  std::atomic<bool> stopping{false};

  // Used by the reception thread only.
  ReportLimiter limiter;
};

}  // namespace

std::unique_ptr<Transport> openInprocTransport(const std::string& name, const std::string& place) {
  if (!place.empty() && !isParticipantName(place)) {
    const std::string text = "\"" + escaped(place) +
                             "\" is no name for a bus in the process: use 1 to 48 of "
                             "A-Z a-z 0-9 _ -";
    throw VelException(EINVAL, text.c_str());
  }
  return std::make_unique<InprocTransport>(name, place);
}

}  // namespace velp
