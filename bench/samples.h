// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the codecs are measured with: the same in every run, shaped like what services send.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgReqRmData.h"

namespace velp::bench {

/// 3 to 15 lower-case letters.
inline std::string shortText(std::mt19937_64& random) {
  std::string text(3 + random() % 13, '\0');
  for (char& c : text) c = static_cast<char>('a' + random() % 26);
  return text;
}

/// Numbers like times in milliseconds (13 digits), short texts, codes of one to three digits.
inline VelpMsgReqGetEventList sampleList(std::size_t size) {
  std::mt19937_64 random(1);
  VelpMsgReqGetEventList list;
  list.leadByte = 1;
  std::uint64_t number = 1700000000000;
  for (std::size_t i = 0; i < size; ++i) {
    number += random() % 5000;
    list.events.push_back({number, shortText(random), static_cast<std::uint32_t>(random() % 1000)});
  }
  return list;
}

/// Nine of twenty spans are two numbers of any magnitude, nine a short text, two a type alone.
inline VelpMsgReqRmData sampleSpans(std::uint16_t size) {
  std::mt19937_64 random(2);
  VelpMsgReqRmData data;
  data.mode = 2;
  data.count = size;
  while (data.spans.size() < size) {
    const auto kind = random() % 20;
    if (kind < 9) data.spans.push_back({0, random() >> random() % 64, random(), ""});
    if (kind >= 9 && kind < 18) data.spans.push_back({1, 0, 0, shortText(random)});
    if (kind >= 18) data.spans.push_back({7, 0, 0, ""});
  }
  return data;
}

}  // namespace velp::bench
