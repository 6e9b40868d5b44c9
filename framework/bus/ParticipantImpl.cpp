// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Joining, leaving and sending.
#include "bus/ParticipantImpl.h"

#include <boost/container/small_vector.hpp>
#include <cerrno>
#include <mutex>
#include <utility>

#include "bus/Transport.h"
#include "velp/message/ByteForm.h"
#include "velp/runtime/LogUtil.h"
#include "velp/runtime/MutexLocker.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

// Most messages are small; they need no allocation.
using FrameBytes = boost::container::small_vector<unsigned char, 512>;

void requireName(const std::string& name) {
  if (isParticipantName(name)) return;
  const std::string text =
      "\"" + escaped(name) + "\" is no participant name: use 1 to 48 of A-Z a-z 0-9 _ -";
  throw VelException(EINVAL, text.c_str());
}

}  // namespace

// Keeps the link in place for the length of a call; there may be none.
class Participant::Impl::LinkUse {
 public:
  explicit LinkUse(Impl& impl) : shared(impl.linkMutex, std::defer_lock) {
    if (impl.linkChanging) return;
    shared.lock();
    link = impl.link.get();
  }

  Link* get() const { return link; }

 private:
  std::shared_lock<std::shared_mutex> shared;
  Link* link = nullptr;
};

Participant::Impl::~Impl() {
  setLink(nullptr);
}

void Participant::Impl::connect(const std::string& name, const std::string& address) {
  // Asked first and without a lock: inside a callback this process is on a bus, and the thread that
  // holds lifeMutex may be waiting for that callback.
  if (Link::isReceivingFor(registry)) refuseWhileConnected();
  MutexLocker locker(lifeMutex);
  if (!getName().empty()) refuseWhileConnected();
  requireName(name);
  auto next = std::make_unique<Link>(name, address, openTransport(name, address), registry);
  Link& joined = *next;
  setLink(std::move(next));
  // Only now: the first callback may already send.
  try {
    joined.start();
  } catch (...) {
    setLink(nullptr);
    throw;
  }
}

void Participant::Impl::refuseWhileConnected() {
  throw VelException(EISCONN, "already on a bus: disconnect() before joining another");
}

void Participant::Impl::disconnect() {
  if (Link::isReceivingFor(registry)) {
    throw VelException(EDEADLK,
                       "disconnect() inside a bus callback would wait for itself: call it from "
                       "another thread");
  }
  MutexLocker locker(lifeMutex);
  setLink(nullptr);
}

// The old link ends outside the lock: its last callback may still send.
void Participant::Impl::setLink(std::unique_ptr<Link> next) {
  {
    linkChanging = true;
    const std::unique_lock<std::shared_mutex> exclusive(linkMutex);
    link.swap(next);
    linkChanging = false;
  }
  next.reset();
}

std::string Participant::Impl::getName() {
  const LinkUse use(*this);
  return use.get() == nullptr ? std::string() : use.get()->getName();
}

bool Participant::Impl::sendTo(const std::string& target, const MessageBase& message) {
  const std::uint64_t size = message.byteSize(true);
  if (!isParticipantName(target) || size > maxMessageSize) return false;
  FrameBytes frame(static_cast<std::size_t>(size), boost::container::default_init);
  unsigned char* cursor = frame.data();
  // What a message leaves out must not go as it happens to stand in memory.
  if (!message.writeToByteArray(cursor, static_cast<unsigned int>(size), true)) return false;
  if (cursor != frame.data() + size) return false;
  const LinkUse use(*this);
  return use.get() != nullptr && use.get()->getTransport().send(target, frame.data(), frame.size());
}

void Participant::Impl::withdraw() noexcept {
  // Exit waits for nobody: when the link is changing just now, its name is going anyway.
  const std::shared_lock<std::shared_mutex> shared(linkMutex, std::try_to_lock);
  if (shared.owns_lock() && link != nullptr) link->getTransport().withdraw();
}

}  // namespace velp
