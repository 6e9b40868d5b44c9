// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The store of the event service: what it holds, and what does not come back.
#include "../examples/events/EventStore.h"

#include <SQLiteCpp/Exception.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "process/PrivateBus.h"

namespace velp::test {
namespace {

using Event = EventStore::Event;
using span_t = VelpMsgReqRmData::span_t;

std::vector<std::string> infos(const EventStore& store) {
  std::vector<std::string> result;
  for (const Event& event : store.events()) result.push_back(event.getEventInfo());
  return result;
}

span_t numbers(std::uint64_t from, std::uint64_t to) {
  return {0, from, to, ""};
}

span_t text(const std::string& text) {
  return {1, 0, 0, text};
}

const std::vector<Event> fourEvents = {
    {30, "install=a", 1}, {10, "remove=b", 3}, {20, "install=b", 1}, {20, "install=b", 1}};

TEST(EventStore, KeepsTheOrderInWhichEventsWereAdded) {
  EventStore store("");
  store.add(fourEvents);
  store.add({{5, "purge=a", 4}});

  EXPECT_THAT(infos(store),
              testing::ElementsAre("30;install=a;1;", "10;remove=b;3;", "20;install=b;1;",
                                   "20;install=b;1;", "5;purge=a;4;"));
}

TEST(EventStore, AddsNothingFromALogThatItKnows) {
  EventStore store("");
  store.add(fourEvents);
  std::vector<Event> grown = fourEvents;
  grown.push_back({20, "install=b", 1});

  store.add(grown);

  EXPECT_EQ(store.events().size(), 5u);
}

TEST(EventStore, RemovesEverything) {
  EventStore store("");
  store.add(fourEvents);

  EXPECT_EQ(store.removeAll(), 4u);
  EXPECT_EQ(store.removeAll(), 0u);

  EXPECT_THAT(infos(store), testing::IsEmpty());
}

TEST(EventStore, RemovesARangeWithBothItsEnds) {
  EventStore store("");
  store.add(fourEvents);

  EXPECT_EQ(store.remove({numbers(10, 20)}), 3u);

  EXPECT_THAT(infos(store), testing::ElementsAre("30;install=a;1;"));
}

TEST(EventStore, RemovesUpToTheLargestNumberThatCanBeAsked) {
  EventStore store("");
  store.add({{18446744073709551615U, "a", 1}, {7, "b", 1}});

  EXPECT_EQ(store.remove({numbers(8, 18446744073709551615U)}), 1u);

  EXPECT_THAT(infos(store), testing::ElementsAre("7;b;1;"));
}

TEST(EventStore, RemovesWhatHoldsAText) {
  EventStore store("");
  store.add(fourEvents);

  EXPECT_EQ(store.remove({text("=b")}), 3u);
  EXPECT_EQ(store.remove({text("%")}), 0u) << "a text is no pattern";

  EXPECT_THAT(infos(store), testing::ElementsAre("30;install=a;1;"));
}

TEST(EventStore, CountsAnEventOfSeveralSpansOnce) {
  EventStore store("");
  store.add(fourEvents);

  EXPECT_EQ(store.remove({numbers(10, 10), text("remove"), text("install=a")}), 2u);
}

TEST(EventStore, DoesNotGetBackWhatWasRemovedWhenItIsOpenedAgain) {
  const ScratchDirectory directory;
  const std::string file = directory.getPath() + "/events.db";
  EventStore(file).add(fourEvents);
  EXPECT_EQ(EventStore(file).remove({text("=b")}), 3u);

  EventStore store(file);
  store.add(fourEvents);

  EXPECT_THAT(infos(store), testing::ElementsAre("30;install=a;1;"));
}

TEST(EventStore, ThrowsWhenItsFileIsNoDatabase) {
  const ScratchDirectory directory;
  const std::string file = directory.getPath() + "/events.db";
  std::ofstream(file) << "this is no database at all, but long enough to be looked at as one";

  EXPECT_THROW(EventStore store(file), SQLite::Exception);
  EXPECT_THROW(EventStore store(directory.getPath() + "/none/events.db"), SQLite::Exception);
}

}  // namespace
}  // namespace velp::test
