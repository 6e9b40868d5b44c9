// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The receiving half of a participant, served by the test's own thread.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

#include "bus/local/Inbound.h"
#include "unit/bus/local/LocalFixture.h"
#include "unit/bus/local/rawPackets.h"
#include "unit/bus/local/systemCalls.h"
#include "velp/bus/StatusCode.h"

namespace velp::test {

class InboundFixture : public LocalBus {
 protected:
  InboundFixture() {
    giveName(directory, "Sender");
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = Inbound::listenerId;
    EXPECT_EQ(epoll_ctl(epoll.get(), EPOLL_CTL_ADD, listener.get(), &event), 0);
  }

  RawClient connect() const { return RawClient(path + "/Receiver"); }
  RawClient connectAs(const std::string& name) {
    RawClient client = connect();
    EXPECT_TRUE(client.sayHello(name));
    serve();
    return client;
  }

  /// One turn of the reception thread, without waiting; returns the number of events.
  int serveOnce() {
    std::array<epoll_event, 64> events;
    const int count = epoll_wait(epoll.get(), events.data(), 64, 0);
    for (int i = 0; i < count; ++i) {
      const std::uint64_t id = events[static_cast<std::size_t>(i)].data.u64;
      if (id == Inbound::listenerId) {
        sut.onListenerReady(sink);
      } else {
        sut.onConnectionReady(id, sink);
      }
    }
    reports.hand(sink);
    return count;
  }
  /// As many as there is something to do for.
  void serve() {
    while (serveOnce() > 0) {
    }
  }
  int onTime() {
    const int next = sut.onTime(sink);
    reports.hand(sink);
    return next;
  }

  static std::string self(const std::string& name) {
    return name + " (process " + std::to_string(getpid()) + ", user " + std::to_string(geteuid()) +
           ")";
  }
  /// The one report there is, which is then forgotten.
  void expectReport(int code, const std::string& text) {
    ASSERT_EQ(sink.reports.size(), 1u) << text;
    EXPECT_EQ(sink.reports[0].type, VelpBusProxyCallback::STATUS_WARNING);
    EXPECT_EQ(sink.reports[0].code, code);
    EXPECT_EQ(sink.reports[0].text, text);
    sink.reports.clear();
  }
  void expectRefusedSender(const std::string& why, const std::string& text) {
    expectReport(STATUS_SENDER_REFUSED, "dropped the connection of " + why + ": " + text);
  }
  std::vector<unsigned int> numbers() const {
    std::vector<unsigned int> all;
    for (const RecordingSink::Frame& frame : sink.frames) all.push_back(frame.bytes.at(0));
    return all;
  }

  StoppedClock clock;
  const BusFd listener = listenAt(directory, "Receiver");
  const BusFd epoll{epoll_create1(EPOLL_CLOEXEC)};
  ReportQueue reports;
  RecordingSink sink;
  Inbound sut{directory, listener.get(), epoll.get(), reports};
};

}  // namespace velp::test
