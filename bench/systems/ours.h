// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the benchmarks of this library share, over whatever transport.
#pragma once

#include <string>
#include <vector>

#include "bench/harness/harness.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velpmsg/VelpMsgHandler.h"

namespace velp::bench {

/// The kind of request with this number.
constexpr VelpClientMessageBase::velpMsgID_t benchID(unsigned int number) {
  return static_cast<VelpClientMessageBase::velpMsgID_t>(1000 + number);
}

constexpr char receiverName[] = "receiver";

/// The name of the service with this number.
std::string serviceName(unsigned int number);
/// A client's name that no other process has.
std::string clientName();

/// Sends requests to the services in turn, to each of them kinds of request in turn: a service has
/// answered a little before it takes the next request of the same kind.
class Client {
 public:
  explicit Client(const Options& options);
  /// The answer, valid until the next one. A request that is refused as another client's of this
  /// kind is served is sent again.
  View exchange(const Bytes& request);

 private:
  const std::vector<std::string> services;
  const Options& options;
  VelpClientMessageResponse response;
};

/// Counts whatever comes, on the reception thread.
class Receiver : public VelpBusProxyCallback {
 public:
  explicit Receiver(Tally& tally) : tally(tally) {}
  void velpBusProxyCb(const MessageBase* message, const std::string& source,
                      const std::string& receiver) override;
  void velpBusProxyStatusCb(StatusCBType_t type, int code, const std::string& info) override;

 private:
  Tally& tally;
};

/// What a program sends one way: a request that nobody answers.
VelpClientMessageRequest oneWay(const Bytes& message);

}  // namespace velp::bench
