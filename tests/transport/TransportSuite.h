// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One suite for all transports: what each test needs of a bus, and of the participants on it.
//
// The tests are written once, in the files beside this one, and take the kind of bus as their
// parameter; a file per transport names its kind of bus and instantiates all of them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/Recorder.h"
#include "velp/bus/Participant.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"

namespace velp::test {

using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;
using Bytes = std::vector<unsigned char>;

/// A bus that one test has for itself.
class TestBus {
 public:
  virtual ~TestBus() = default;
  virtual std::string address() const = 0;
};

/// How to make a bus of one transport.
struct BusKind {
  const char* name;
  std::unique_ptr<TestBus> (*make)();
};
inline void PrintTo(const BusKind& kind, std::ostream* os) {
  *os << kind.name;
}

/// A participant that records what it receives.
class Member {
 public:
  /// Called on the member's reception thread.
  using Hook = std::function<void(Participant&, const Received&)>;

  /// On the bus from the start.
  Member(const std::string& name, const TestBus& bus, const Hook& hook = {}) : Member(hook) {
    participant.connect(name, bus.address());
  }
  /// Not yet on a bus.
  explicit Member(const Hook& hook = {})
      : recorder(hook ? [this, hook](const Received& r) { hook(participant, r); }
                      : Recorder::Hook()) {
    participant.setCallBack(recorder);
  }

  Participant* operator->() { return &participant; }
  Participant& operator*() { return participant; }

  // Dies after the participant, which calls it until then.
  Recorder recorder;

 private:
  Participant participant;
};

/// Sends until the receiver has room. False when the watchdog of 60 s ended that.
[[nodiscard]] bool sendUntilTaken(Participant& from, const std::string& to, const MessageBase&);

/// Waits until `to` has taken everything that `from` has sent to it so far.
void settle(Member& from, Member& to);

/// A request that carries a number as its ID, and `size` bytes of payload.
Request numbered(unsigned int number, std::size_t size = 0);

/// The numbers of the requests from `source`, in the order received.
std::vector<unsigned int> numbersFrom(const std::string& source, const std::vector<Received>& all);

/// 0, 1, ... count - 1.
std::vector<unsigned int> countTo(unsigned int count);

class TransportSuite : public testing::TestWithParam<BusKind> {
 protected:
  const std::unique_ptr<TestBus> bus = GetParam().make();
};

// The suites, each in the file of its name.
class Delivery : public TransportSuite {};
class Sending : public TransportSuite {};
class Names : public TransportSuite {};
class Joining : public TransportSuite {};
class Callbacks : public TransportSuite {};
class Load : public TransportSuite {};

/// Runs every suite on this kind of bus.
#define VELP_TEST_TRANSPORT(Kind, kind)                                                            \
  INSTANTIATE_TEST_SUITE_P(Kind, Delivery, testing::Values(kind),                                  \
                           testing::PrintToStringParamName());                                     \
  INSTANTIATE_TEST_SUITE_P(Kind, Sending, testing::Values(kind),                                   \
                           testing::PrintToStringParamName());                                     \
  INSTANTIATE_TEST_SUITE_P(Kind, Names, testing::Values(kind), testing::PrintToStringParamName()); \
  INSTANTIATE_TEST_SUITE_P(Kind, Joining, testing::Values(kind),                                   \
                           testing::PrintToStringParamName());                                     \
  INSTANTIATE_TEST_SUITE_P(Kind, Callbacks, testing::Values(kind),                                 \
                           testing::PrintToStringParamName());                                     \
  INSTANTIATE_TEST_SUITE_P(Kind, Load, testing::Values(kind), testing::PrintToStringParamName())

}  // namespace velp::test
