// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Events in an SQLite database: what was removed stays removed.
#pragma once

#include <SQLiteCpp/Database.h>

#include <cstddef>
#include <string>
#include <vector>

#include "velpmsg/VelpMsgReqGetEventList.h"
#include "velpmsg/VelpMsgReqRmData.h"

/// The events that a service holds. Every change is on disk when its operation returns. One thread
/// at a time. Operations throw SQLite::Exception when the database fails.
class EventStore {
 public:
  using Event = VelpMsgReqGetEventList::Event;

  /// Opens the database in `file`, or makes it; an empty name means one in memory.
  explicit EventStore(const std::string& file);

  /// Adds those of a log's events that it has never held: a log may be read again and again, and
  /// what was removed meanwhile does not come back.
  void add(const std::vector<Event>& log);
  /// The events that are there, in the order in which they were added.
  std::vector<Event> events() const;

  /// Removes every event. Each of these returns how many were removed.
  std::size_t removeAll();
  /// Removes what the spans tell: events with a number from `from` to `to`, or with `text` in their
  /// text. All or, when it throws, none of it.
  std::size_t remove(const std::vector<VelpMsgReqRmData::span_t>& spans);

 private:
  std::size_t removeSpan(const VelpMsgReqRmData::span_t& span);

  SQLite::Database database;
};
