// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Remove-data requests that the tests of both directions are made of.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "support/Random.h"
#include "velpmsg/VelpMsgReqRmData.h"

namespace velp::samples {

using Bytes = std::vector<unsigned char>;
using span_t = VelpMsgReqRmData::span_t;

inline span_t numbersSpan(std::uint64_t from, std::uint64_t to) {
  return {0, from, to, ""};
}
inline span_t textSpan(const std::string& text) {
  return {1, 0, 0, text};
}
inline span_t bareSpan(std::uint32_t type) {
  return {type, 0, 0, ""};
}

/// As a client fills it, with the count of its spans.
inline VelpMsgReqRmData rmData(std::uint32_t mode, std::vector<span_t> spans = {}) {
  VelpMsgReqRmData data;
  data.mode = mode;
  data.count = static_cast<std::uint16_t>(spans.size());
  data.spans = std::move(spans);
  return data;
}

/// All spans that are left.
inline std::vector<span_t> walk(VelpMsgReqRmData& data) {
  std::vector<span_t> spans;
  for (span_t span; data.getNextSpan(span);) spans.push_back(span);
  return spans;
}

/// A copy that ends where its memory ends, so that the sanitizers see each byte read beyond it.
class Exact {
 public:
  explicit Exact(const Bytes& bytes) : copy(new unsigned char[bytes.size()]), count(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), copy.get());
  }
  const unsigned char* data() const { return copy.get(); }
  std::size_t size() const { return count; }

 private:
  std::unique_ptr<unsigned char[]> copy;
  std::size_t count;
};

MATCHER_P4(IsSpan, type, from, to, text, "") {
  *result_listener << "(" << arg.type << ", " << arg.from << ", " << arg.to << ", " << arg.text
                   << ")";
  return arg.type == static_cast<std::uint32_t>(type) &&
         arg.from == static_cast<std::uint64_t>(from) && arg.to == static_cast<std::uint64_t>(to) &&
         arg.text == text;
}

inline span_t randomSpan(test::Random& random) {
  span_t span;
  span.type = static_cast<std::uint32_t>(random.below(4));
  if (span.type == 0) span = numbersSpan(random.number(), random.number());
  if (span.type == 1) span.text.resize(random.below(256), static_cast<char>(random.byte()));
  if (span.type == 3) span.type = static_cast<std::uint32_t>(2 + random.below(254));
  return span;
}

inline std::vector<span_t> randomSpans(test::Random& random, std::size_t most) {
  std::vector<span_t> spans(random.below(most + 1));
  for (span_t& span : spans) span = randomSpan(random);
  return spans;
}

}  // namespace velp::samples
