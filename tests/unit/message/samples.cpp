// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The samples and the generator of random messages.
#include "unit/message/samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

namespace velp::samples {
namespace {

using Client = VelpClientMessageBase;
using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;

Sample requestSample() {
  const Bytes payload{1, 2, 3};
  auto request = std::make_shared<Request>(Client::MSG_GET_EVENT_LIST, payload.data(), 3u);
  request->setContext(7);
  request->setSourceChannel("gw");
  request->cascadeChannel(5);
  request->setText("alice");
  return {"request",
          request,
          {0, 0, 0xF0, 0, 0, 0,  0, 0, 0, 0, 0, 7, 0, 0, 0, 2, 'g', 'w', 0,   0,   0,   2,
           0, 5, 0,    0, 0, 50, 0, 0, 0, 3, 1, 2, 3, 0, 0, 0, 5,   'a', 'l', 'i', 'c', 'e'},
          {{12, "sourceChannel"}, {18, "route"}, {28, "payload"}, {35, "text"}}};
}

Sample responseSample() {
  auto response = std::make_shared<Response>(Client::MSG_GET_EVENT_LIST, Response::STATUS_OK);
  response->setFlag(1);
  response->setPayload({1, 0, 0, 0, 0});
  return {"response",
          response,
          {0, 0,   0xF0, 1,   0,   0,   0,   0, 0, 0, 0, 0,  0, 0, 0, 0, 0, 0,
           0, 0,   0,    0,   0,   255, 0,   0, 0, 5, 1, 0,  0, 0, 0, 0, 0, 0,
           6, 'N', 'o',  't', 'S', 'e', 't', 1, 0, 0, 0, 50, 0, 0, 0, 0},
          {{12, "sourceChannel"}, {16, "route"}, {24, "payload"}, {33, "text"}}};
}

Sample systemSample() {
  return {"system",
          std::make_shared<SystemMessage>("fault", 10u),
          {0, 0, 0, 0x80, 0, 0, 0, 0,   0,   0,   0,   0,   0, 0, 0, 0, 0,
           0, 0, 0, 0,    0, 0, 5, 'f', 'a', 'u', 'l', 't', 0, 0, 0, 10},
          {{12, "sourceChannel"}, {16, "route"}, {20, "text"}}};
}

std::string randomText(std::mt19937& random) {
  const Bytes bytes = randomBytes(random, 300);
  return std::string(bytes.begin(), bytes.end());
}

std::unique_ptr<MessageBase> randomRequest(std::mt19937& random) {
  const Bytes payload = randomBytes(random, 70000);
  auto request = std::make_unique<Request>(static_cast<Client::velpMsgID_t>(random()),
                                           payload.data(), static_cast<unsigned>(payload.size()));
  request->setText(randomText(random));
  return request;
}

std::unique_ptr<MessageBase> randomResponse(std::mt19937& random) {
  auto response = std::make_unique<Response>(static_cast<Client::velpMsgID_t>(random()),
                                             static_cast<Response::msgStatus_t>(random()));
  response->setPayload(randomBytes(random, 300));
  response->setText(randomText(random));
  response->setFlag(static_cast<unsigned char>(random() & 0xFF));
  return response;
}

std::unique_ptr<MessageBase> randomFields(std::mt19937& random) {
  switch (random() % 3) {
    case 0:
      return randomRequest(random);
    case 1:
      return randomResponse(random);
    default:
      return std::make_unique<SystemMessage>(randomText(random),
                                             static_cast<std::uint32_t>(random()));
  }
}

template <typename Message>
bool equalAs(const MessageBase& a, const MessageBase& b) {
  const auto* left = dynamic_cast<const Message*>(&a);
  const auto* right = dynamic_cast<const Message*>(&b);
  return left != nullptr && right != nullptr && *left == *right;
}

}  // namespace

std::vector<Sample> all() {
  return {requestSample(), responseSample(), systemSample()};
}

void PrintTo(const Sample& sample, std::ostream* os) {
  *os << sample.name;
}

std::mt19937 seededGenerator() {
  const int asked = ::testing::GTEST_FLAG(random_seed);
  const unsigned int seed =
      asked != 0 ? static_cast<unsigned int>(asked) : std::random_device()() % 99999 + 1;
  std::cout << "repeat with --gtest_random_seed=" << seed << std::endl;
  return std::mt19937(seed);
}

Bytes randomBytes(std::mt19937& random, std::size_t maxSize) {
  Bytes bytes(random() % 4 == 0 ? 0 : random() % (maxSize + 1));
  std::generate(bytes.begin(), bytes.end(),
                [&random] { return static_cast<unsigned char>(random() & 0xFF); });
  return bytes;
}

std::unique_ptr<MessageBase> randomMessage(std::mt19937& random) {
  std::unique_ptr<MessageBase> message = randomFields(random);
  message->setContext(static_cast<unsigned long long>(random()) << 32 | random());
  message->setSourceChannel(randomText(random));
  message->setRoute(randomBytes(random, 20));
  return message;
}

bool equal(const MessageBase& a, const MessageBase& b) {
  return equalAs<Request>(a, b) || equalAs<Response>(a, b) || equalAs<SystemMessage>(a, b);
}

}  // namespace velp::samples
