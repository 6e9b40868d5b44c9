// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the benchmarks of this library share, over whatever transport.
#pragma once

#include <array>
#include <string>

#include "bench/harness/harness.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"
#include "velpmsg/VelpMsgHandler.h"

namespace velp::bench {

/// A client uses them in turn, as a service takes the next request of an ID a little after it has
/// answered the last one.
constexpr std::array<VelpClientMessageBase::velpMsgID_t, 2> benchIDs{
    static_cast<VelpClientMessageBase::velpMsgID_t>(1000),
    static_cast<VelpClientMessageBase::velpMsgID_t>(1001)};
constexpr char serviceName[] = "service";
constexpr char receiverName[] = "receiver";

/// A client's name that no other process has.
std::string clientName();

/// Sends the request to the service, again when it was refused because another client's is served.
View exchange(const Bytes& request, VelpClientMessageResponse& response);

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
