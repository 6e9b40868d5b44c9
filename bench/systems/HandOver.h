// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A queue from some threads to one, by mutex and condition: a hop of the bare floors.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

namespace velp::bench {

/// Threads: put() from any; take() from one, which gets all that has come with one lock.
template <typename Item>
class HandOver {
 public:
  /// False when the queue holds as many items as it may.
  bool put(Item item) {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      if (items.size() >= mostItems) return false;
      items.push_back(std::move(item));
    }
    changed.notify_one();
    return true;
  }

  Item take() {
    if (taken.empty()) takeAll();
    Item item = std::move(taken.front());
    taken.pop_front();
    return item;
  }

 private:
  void takeAll() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return !items.empty(); });
    items.swap(taken);
  }

  static constexpr std::size_t mostItems = 65536;

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Item> items;
  std::deque<Item> taken;  // the taker's
};

/// Where a client waits for its answer, which another thread puts there.
template <typename Item>
class Wait {
 public:
  void finish(Item result) {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      item = std::move(result);
      finished = true;
    }
    changed.notify_one();
  }

  /// The result, until the next finish().
  const Item& get() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return finished; });
    finished = false;
    return item;
  }

 private:
  std::mutex mutex;
  std::condition_variable changed;
  Item item{};
  bool finished = false;
};

}  // namespace velp::bench
