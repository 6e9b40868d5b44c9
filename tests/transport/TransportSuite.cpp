// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Helpers of the transport suite.
#include "transport/TransportSuite.h"

#include <atomic>
#include <chrono>
#include <numeric>
#include <thread>

namespace velp::test {

bool sendUntilTaken(Participant& from, const std::string& to, const MessageBase& message) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!from.sendTo(to, message)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

void settle(Member& from, Member& to) {
  static std::atomic<std::uint32_t> last{0};
  const std::uint32_t number = ++last;
  ASSERT_TRUE(sendUntilTaken(*from, to->getName(), SystemMessage(settleText, number)));
  ASSERT_TRUE(to.recorder.waitForSettled(number));
}

Request numbered(unsigned int number, std::size_t size) {
  const Bytes payload(size, static_cast<unsigned char>(number));
  return Request(static_cast<VelpClientMessageBase::velpMsgID_t>(number), payload.data(),
                 static_cast<unsigned int>(size));
}

std::vector<unsigned int> numbersFrom(const std::string& source, const std::vector<Received>& all) {
  std::vector<unsigned int> numbers;
  for (const Received& received : all) {
    const auto* request = dynamic_cast<const Request*>(received.message.get());
    if (request != nullptr && received.source == source) numbers.push_back(request->getMsgID());
  }
  return numbers;
}

std::vector<unsigned int> countTo(unsigned int count) {
  std::vector<unsigned int> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0u);
  return numbers;
}

}  // namespace velp::test
