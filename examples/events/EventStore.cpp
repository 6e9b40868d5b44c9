// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// One table; a removed event keeps its row as a mark that it has been there.
#include "EventStore.h"

#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include <cstdint>
#include <limits>
#include <map>
#include <tuple>

namespace {

// SQLite's integers are signed: an event with a larger number cannot be stored.
constexpr std::uint64_t maxNumber = std::numeric_limits<std::int64_t>::max();

std::int64_t stored(std::uint64_t number) {
  return static_cast<std::int64_t>(number < maxNumber ? number : maxNumber);
}

}  // namespace

EventStore::EventStore(const std::string& file)
    : database(file.empty() ? ":memory:" : file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
  // `nth` tells equal events of one log apart.
  database.exec(
      "CREATE TABLE IF NOT EXISTS events ("
      " place INTEGER PRIMARY KEY,"
      " number INTEGER NOT NULL, text TEXT NOT NULL, code INTEGER NOT NULL, nth INTEGER NOT NULL,"
      " removed INTEGER NOT NULL DEFAULT 0,"
      " UNIQUE (number, text, code, nth))");
}

void EventStore::add(const std::vector<Event>& log) {
  SQLite::Transaction transaction(database);
  SQLite::Statement insert(database,
                           "INSERT OR IGNORE INTO events (number, text, code, nth)"
                           " VALUES (?, ?, ?, ?)");
  std::map<std::tuple<std::uint64_t, std::string, std::uint32_t>, std::int64_t> seen;
  for (const Event& event : log) {
    insert.bind(1, stored(event.number));
    insert.bind(2, event.text);
    insert.bind(3, event.code);
    insert.bind(4, seen[{event.number, event.text, event.code}]++);
    insert.exec();
    insert.reset();
  }
  transaction.commit();
}

std::vector<EventStore::Event> EventStore::events() const {
  SQLite::Statement select(database,
                           "SELECT number, text, code FROM events WHERE removed = 0"
                           " ORDER BY place");
  std::vector<Event> events;
  while (select.executeStep()) {
    events.push_back({static_cast<std::uint64_t>(select.getColumn(0).getInt64()),
                      select.getColumn(1).getString(), select.getColumn(2).getUInt()});
  }
  return events;
}

std::size_t EventStore::removeAll() {
  return static_cast<std::size_t>(database.exec("UPDATE events SET removed = 1 WHERE removed = 0"));
}

std::size_t EventStore::remove(const std::vector<VelpMsgReqRmData::span_t>& spans) {
  SQLite::Transaction transaction(database);
  std::size_t count = 0;
  for (const auto& span : spans) count += removeSpan(span);
  transaction.commit();
  return count;
}

std::size_t EventStore::removeSpan(const VelpMsgReqRmData::span_t& span) {
  if (span.type == 0) {
    SQLite::Statement update(database,
                             "UPDATE events SET removed = 1"
                             " WHERE removed = 0 AND number BETWEEN ? AND ?");
    update.bind(1, stored(span.from));
    update.bind(2, stored(span.to));
    return static_cast<std::size_t>(update.exec());
  }
  SQLite::Statement update(database,
                           "UPDATE events SET removed = 1"
                           " WHERE removed = 0 AND instr(text, ?) > 0");
  update.bind(1, span.text);
  return static_cast<std::size_t>(update.exec());
}
