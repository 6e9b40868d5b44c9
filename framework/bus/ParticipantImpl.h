// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The inside of a participant.
#pragma once

#include <atomic>
#include <memory>
#include <shared_mutex>

#include "bus/CallbackRegistry.h"
#include "bus/ForkGuard.h"
#include "bus/Link.h"
#include "velp/bus/Participant.h"

namespace velp {

/// One process's share of a participant: a child after fork() gets a fresh one.
class Participant::Impl {
 public:
  Impl() = default;
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void connect(const std::string& name, const std::string& address);
  void disconnect();
  std::string getName();
  bool sendTo(const std::string& target, const MessageBase& message);
  void withdraw() noexcept;

  CallbackRegistry& callbacks() { return registry; }
  bool isAncestors() const { return generation != forkGeneration(); }

  /// The one that this one replaced in the child: kept, since its threads and locks are the
  /// parent's and nothing of it can be ended here.
  Impl* replaced = nullptr;

 private:
  class LinkUse;

  [[noreturn]] static void refuseWhileConnected();
  void setLink(std::unique_ptr<Link> next);

  const unsigned int generation = forkGeneration();
  CallbackRegistry registry;
  // Serialises connect and disconnect; never taken by the reception thread.
  Mutex lifeMutex;
  // Shared while sending, which never waits for anybody; exclusive to change `link`. A standard
  // lock, since Mutex has no shared form; the analysis does not know it.
  std::shared_mutex linkMutex;
  std::unique_ptr<Link> link;
  // Set while `link` changes, and read before the shared lock: new senders turn away, or a stream
  // of them could keep the change out for ever.
  std::atomic<bool> linkChanging{false};
};

}  // namespace velp
