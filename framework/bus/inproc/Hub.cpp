// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Inboxes, and the hubs of the process by name.
#include "bus/inproc/Hub.h"

#include <utility>

#include "bus/PerProcess.h"
#include "velp/runtime/MutexLocker.h"

namespace velp {

namespace {

constexpr std::size_t maxFrames = 65536;
constexpr std::size_t maxBytes = 64u * 1024 * 1024;

struct Hubs {
  Mutex mutex;
  std::map<std::string, std::weak_ptr<Hub>> byName VELP_GUARDED_BY(mutex);
};

PerProcess<Hubs> hubs;

}  // namespace

std::shared_ptr<Hub> Hub::get(const std::string& name) {
  Hubs& all = hubs.get();
  MutexLocker locker(all.mutex);
  std::shared_ptr<Hub> hub = all.byName[name].lock();
  if (hub == nullptr) {
    hub = std::make_shared<Hub>();
    all.byName[name] = hub;
  }
  return hub;
}

std::shared_ptr<Inbox> Hub::join(const std::string& name) {
  MutexLocker locker(mutex);
  const auto [position, isNew] = inboxes.emplace(name, nullptr);
  if (!isNew) return nullptr;
  position->second = std::make_shared<Inbox>();
  return position->second;
}

void Hub::leave(const std::string& name) {
  MutexLocker locker(mutex);
  inboxes.erase(name);
}

std::shared_ptr<Inbox> Hub::find(const std::string& name) {
  MutexLocker locker(mutex);
  const auto position = inboxes.find(name);
  return position == inboxes.end() ? nullptr : position->second;
}

bool Inbox::put(const std::string& source, const unsigned char* bytes, std::size_t size) {
  Frame frame{source, std::vector<unsigned char>(bytes, bytes + size)};
  MutexLocker locker(mutex);
  if (stopped || frames.size() >= maxFrames || size > maxBytes - byteCount) return false;
  frames.push_back(std::move(frame));
  byteCount += size;
  changed.signal();
  return true;
}

std::vector<Inbox::Frame> Inbox::takeAll() {
  std::vector<Frame> taken;
  MutexLocker locker(mutex);
  while (frames.empty() && !stopped) changed.wait(mutex);
  if (!stopped) taken.swap(frames);
  byteCount = 0;
  return taken;
}

void Inbox::stop() {
  MutexLocker locker(mutex);
  stopped = true;
  changed.signal();
}

}  // namespace velp
