// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A span per range and per text.
#include "Removal.h"

#include <charconv>
#include <cstdint>
#include <system_error>

#include "velpmsg/VelpMsgReqRmData.h"

namespace {

constexpr std::size_t longestText = 255;

bool parse(const std::string& digits, std::uint64_t& number) {
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

bool parse(const std::string& range, VelpMsgReqRmData::span_t& span) {
  const std::size_t hyphen = range.find('-');
  return hyphen != std::string::npos && parse(range.substr(0, hyphen), span.from) &&
         parse(range.substr(hyphen + 1), span.to) && span.from <= span.to;
}

std::string checkRange(const std::string& range) {
  VelpMsgReqRmData::span_t span;
  if (parse(range, span)) return "";
  return "\"" + range + "\" is no range: write two numbers, the smaller first, as in 100-200";
}

std::string checkText(const std::string& text) {
  if (!text.empty() && text.size() <= longestText) return "";
  return "a text to remove has 1 to 255 characters";
}

}  // namespace

void declareRemoval(CLI::App& app, Removal& removal) {
  auto* all = app.add_flag("--remove-all", removal.all, "Have all events removed");
  app.add_option("--remove-range", removal.ranges,
                 "Have the events removed whose numbers lie in A-B, both included; an event's "
                 "number is its time, as in 20261101100000")
      ->check(CLI::Validator(checkRange, "A-B"))
      ->excludes(all)
      ->take_all();
  app.add_option("--remove-text", removal.texts,
                 "Have the events removed whose action=subject contains this text")
      ->check(CLI::Validator(checkText, "TEXT"))
      ->excludes(all)
      ->take_all();
}

bool isWanted(const Removal& removal) {
  return removal.all || !removal.ranges.empty() || !removal.texts.empty();
}

VelpClientMessageRequest requestOf(const Removal& removal) {
  VelpMsgReqRmData data;
  data.mode = removal.all ? 0 : 1;
  for (const std::string& range : removal.ranges) {
    VelpMsgReqRmData::span_t span;
    if (parse(range, span)) data.spans.push_back(span);
  }
  for (const std::string& text : removal.texts) data.spans.push_back({1, 0, 0, text});
  data.count = static_cast<std::uint16_t>(data.spans.size());
  return data.getRequest();
}
