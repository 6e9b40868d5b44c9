// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Columns as wide as their widest cell.
#include "EventTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "velp/runtime/LogUtil.h"

namespace {

using Event = VelpMsgReqGetEventList::Event;
using Row = std::array<std::string, 4>;

// 20261121062934 as "2026-11-21 06:29:34"; any other number as it is.
std::string timeOf(unsigned long long number) {
  const std::string digits = fmt::format("{}", number);
  if (digits.size() != 14) return digits;
  const auto part = [&digits](std::size_t at) { return digits.substr(at, 2); };
  return digits.substr(0, 4) + "-" + part(4) + "-" + part(6) + " " + part(8) + ":" + part(10) +
         ":" + part(12);
}

Row rowOf(const Event& event) {
  const std::size_t equals = event.text.find('=');
  const std::string action = event.text.substr(0, equals);
  const std::string subject =
      equals == std::string::npos ? std::string() : event.text.substr(equals + 1);
  return {timeOf(event.number), velp::escaped(action), velp::escaped(subject),
          fmt::format("{}", event.code)};
}

}  // namespace

std::string eventTable(const VelpMsgReqGetEventList& list, std::size_t count) {
  std::vector<Row> rows = {{"TIME", "ACTION", "SUBJECT", "CODE"}};
  const std::size_t shown = std::min(count, list.events.size());
  for (std::size_t i = list.events.size() - shown; i < list.events.size(); ++i) {
    rows.push_back(rowOf(list.events[i]));
  }

  std::array<std::size_t, 4> widths = {};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }

  std::string table;
  for (const Row& row : rows) {
    table += fmt::format("{:<{}}  {:<{}}  {:<{}}  {:>{}}\n", row[0], widths[0], row[1], widths[1],
                         row[2], widths[2], row[3], widths[3]);
  }
  return table;
}
