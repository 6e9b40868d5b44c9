// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The remove-data request as one would write it first: one byte after the other, from and to
// vectors or standard streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "velpmsg/VelpMsgReqRmData.h"

namespace velp::bench::plain {

using Payload = std::vector<unsigned char>;

/// Encodes; `put` takes one byte.
template <typename Put>
void writeSpans(const VelpMsgReqRmData& data, Put put) {
  const auto putNumber = [&](std::uint64_t number, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
      put(static_cast<unsigned char>(number >> shift & 0xFF));
    }
  };
  putNumber(data.mode, 1);
  putNumber(data.count, 2);
  for (const auto& span : data.spans) {
    putNumber(span.type, 1);
    if (span.type == 0) {
      putNumber(span.from, 8);
      putNumber(span.to, 8);
    } else if (span.type == 1) {
      putNumber(span.text.size(), 1);
      for (const char c : span.text) put(static_cast<unsigned char>(c));
    }
  }
}

/// Decodes; `get` returns the next byte.
template <typename Get>
void readSpans(VelpMsgReqRmData& data, Get get) {
  const auto getNumber = [&](int width) {
    std::uint64_t number = 0;
    for (int i = 0; i < width; ++i) number = number << 8 | get();
    return number;
  };
  data.mode = get();
  data.count = static_cast<std::uint16_t>(getNumber(2));
  data.spans.clear();
  VelpMsgReqRmData::span_t span;
  for (unsigned int i = 0; i < data.count; ++i) {
    span.type = get();
    if (span.type == 0) {
      span.from = getNumber(8);
      span.to = getNumber(8);
    } else if (span.type == 1) {
      std::string text;
      for (auto left = getNumber(1); left > 0; --left) text += static_cast<char>(get());
      span.text = text;
    }
    data.spans.push_back(span);
  }
}

inline VelpClientMessageRequest asRequest(const Payload& payload) {
  return {VelpClientMessageBase::MSG_REMOVE_DATA, payload.data(),
          static_cast<unsigned int>(payload.size())};
}

inline VelpClientMessageRequest requestByBytes(const VelpMsgReqRmData& data) {
  Payload payload;
  writeSpans(data, [&](unsigned char byte) { payload.push_back(byte); });
  return asRequest(payload);
}

inline VelpClientMessageRequest requestByStreams(const VelpMsgReqRmData& data) {
  std::ostringstream stream;
  writeSpans(data, [&](unsigned char byte) { stream.put(static_cast<char>(byte)); });
  const std::string bytes = stream.str();
  return asRequest(Payload(bytes.begin(), bytes.end()));
}

/// As setData() of one argument: nothing is checked.
inline VelpMsgReqRmData readByBytes(const Payload& payload) {
  VelpMsgReqRmData data;
  const unsigned char* next = payload.data();
  readSpans(data, [&]() -> unsigned int { return *next++; });
  return data;
}

/// As setData() of two arguments: each byte is checked, one that is missing is an exception.
inline VelpMsgReqRmData readByCheckedBytes(const Payload& payload) {
  VelpMsgReqRmData data;
  std::size_t next = 0;
  readSpans(data, [&]() -> unsigned int { return payload.at(next++); });
  return data;
}

/// As setData() of two arguments: a byte that is missing is an exception.
inline VelpMsgReqRmData readByStreams(const Payload& payload) {
  VelpMsgReqRmData data;
  std::istringstream stream(std::string(payload.begin(), payload.end()));
  stream.exceptions(std::ios::eofbit);
  readSpans(data, [&]() { return static_cast<unsigned int>(stream.get()); });
  return data;
}

}  // namespace velp::bench::plain
