// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A bus inside the process: inboxes by name.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "velp/runtime/Condition.h"
#include "velp/runtime/Mutex.h"

namespace velp {

/// What one participant has been sent and not yet taken, at most 64 MiB or 65,536 frames.
///
/// Threads: any. Blocks: takeAll() only. Owns: the frames. Fails: only for want of memory.
class Inbox {
 public:
  struct Frame {
    std::string source;
    std::vector<unsigned char> bytes;
  };

  /// Queues a copy; false when the inbox is full.
  bool put(const std::string& source, const unsigned char* bytes, std::size_t size);
  /// Waits for frames and takes them all; none means stop().
  std::vector<Frame> takeAll();
  /// Makes takeAll() return without frames, now and ever after.
  void stop();

 private:
  Mutex mutex;
  Condition changed;
  std::vector<Frame> frames VELP_GUARDED_BY(mutex);
  std::size_t byteCount VELP_GUARDED_BY(mutex) = 0;
  bool stopped VELP_GUARDED_BY(mutex) = false;
};

/// Who is on the bus.
///
/// Threads: any. Blocks: never. Owns: the inboxes, with their participants. Fails: see join().
class Hub {
 public:
  /// The hub of this name; it lives as long as somebody holds it. A child after fork() has hubs of
  /// its own.
  static std::shared_ptr<Hub> get(const std::string& name);

  /// Null when the name is taken.
  std::shared_ptr<Inbox> join(const std::string& name);
  void leave(const std::string& name);
  /// Null when nobody has the name.
  std::shared_ptr<Inbox> find(const std::string& name);

 private:
  Mutex mutex;
  std::map<std::string, std::shared_ptr<Inbox>> inboxes VELP_GUARDED_BY(mutex);
};

}  // namespace velp
