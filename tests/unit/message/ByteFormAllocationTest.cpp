// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// That decoding allocates no more than the bytes that are there.
//
// Replaces the global operator new of the test program by one that remembers the largest request.
// It is weak, for some sanitizers bring a strong one of their own; then these tests are skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "unit/message/samples.h"

namespace {

thread_local std::size_t largestRequest = 0;

}  // namespace

[[gnu::weak]] void* operator new(std::size_t size) {
  largestRequest = std::max(largestRequest, size);
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

[[gnu::weak]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::weak]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using velp::samples::Bytes;

std::size_t largestRequestWhileDecoding(const Bytes& bytes) {
  std::string reason;
  largestRequest = 0;
  const auto message = velp::decodeMessage(bytes.data(), bytes.size(), reason);
  return largestRequest;
}

class ByteFormAllocation : public ::testing::Test {
 protected:
  void SetUp() override {
    largestRequest = 0;
    const std::string probe(1000, 'x');
    if (largestRequest < probe.size()) {
      GTEST_SKIP() << "another operator new is in force";
    }
  }
};

// A message object or a sentence of refusal may be larger than a small message.
constexpr std::size_t ofItsOwn = 512;

TEST_F(ByteFormAllocation, OfAHugeAnnouncementIsNotMade) {
  for (const auto& sample : velp::samples::all()) {
    for (const auto& [position, field] : sample.lengths) {
      Bytes bytes = sample.bytes;
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(position), 4, 0xFF);

      EXPECT_LE(largestRequestWhileDecoding(bytes), ofItsOwn) << sample.name << ' ' << field;
    }
  }
}

TEST_F(ByteFormAllocation, NeverExceedsTheBytesThatAreThere) {
  const Bytes payload(1000000, 0x5A);
  const VelpClientMessageRequest request(VelpClientMessageBase::MSG_REMOVE_DATA, payload.data(),
                                         1000000);
  const Bytes bytes = velp::encodeMessage(request);

  const std::size_t largest = largestRequestWhileDecoding(bytes);

  EXPECT_GE(largest, payload.size());
  EXPECT_LE(largest, bytes.size());
}

TEST_F(ByteFormAllocation, IsNotMadeForAMessageThatIsRefusedAtItsEnd) {
  Bytes bytes = velp::encodeMessage(SystemMessage(std::string(1000000, 'x'), 10));
  bytes.push_back(0);

  EXPECT_LE(largestRequestWhileDecoding(bytes), ofItsOwn);
}

}  // namespace
