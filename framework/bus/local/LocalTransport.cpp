// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The transport between the processes of one machine: sockets in a directory, no daemon.
//
// A participant is a lock file, which proves the right to the name, and a listening socket of
// sequenced packets. Each participant sends on the connections that it opened and receives on those
// that it accepted, so there is no simultaneous open, order comes for free, and what a dying sender
// sent last can still be read.
//
// One epoll set serves the reception thread: the listener, the accepted connections, the opened
// ones (for their end only), and an event descriptor for reports and stop. Descriptors are closed
// by their owners while the set watches them, which takes them off it.
//
// Taking the name: lock, then remove a stale socket, bind, listen. Giving it back: remove the
// socket, close the connections, and drop the lock last.
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

#include "bus/Transport.h"
#include "bus/local/BusDirectory.h"
#include "bus/local/Inbound.h"
#include "bus/local/NameLock.h"
#include "bus/local/Outbound.h"
#include "velp/runtime/BriefWait.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

constexpr std::uint64_t wakeId = 0;
constexpr int eventsPerTurn = 64;

[[noreturn]] void refuse(const std::string& name, const char* what) {
  const int code = errno;
  const std::string text = "the name " + name + " cannot be taken: " + what;
  throw VelException(code, text.c_str());
}

std::uint64_t randomGeneration() {
  std::uint64_t generation = 0;
  // A short read leaves fewer random bits, which still tell lives apart.
  if (getrandom(&generation, sizeof generation, GRND_NONBLOCK) <= 0) {
    generation = monotonicMilliseconds() << 20 | static_cast<std::uint64_t>(getpid());
  }
  return generation;
}

void removeStaleSocket(const BusDirectory& directory, const std::string& name) {
  struct stat status;
  if (fstatat(directory.getFd(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (!S_ISSOCK(status.st_mode)) {
    errno = EEXIST;
    refuse(name, "something that is no socket stands in its place; remove it");
  }
  if (unlinkat(directory.getFd(), name.c_str(), 0) != 0) refuse(name, "its old socket stays");
}

BusFd listenAs(const BusDirectory& directory, const std::string& name) {
  removeStaleSocket(directory, name);
  BusFd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) refuse(name, "no socket to be had");
  // On a shared bus the directory decides who gets in, and the hello proves who calls.
  const mode_t mode = directory.isShared() ? 0666 : 0600;
  fchmod(fd.get(), mode);
  const sockaddr_un address = directory.socketAddress(name);
  if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    refuse(name, "its socket cannot be bound");
  }
  // The process's umask may have taken away what a shared bus needs.
  if (directory.isShared()) fchmodat(directory.getFd(), name.c_str(), mode, 0);
  if (listen(fd.get(), SOMAXCONN) != 0) refuse(name, "its socket cannot listen");
  return fd;
}

BusFd watchSet(const std::string& name) {
  BusFd fd(epoll_create1(EPOLL_CLOEXEC));
  if (!fd) refuse(name, "no epoll set to be had");
  return fd;
}

class LocalTransport : public Transport {
 public:
  LocalTransport(const std::string& name, const std::string& place)
      : directory(place),
        name(name),
        lock(directory, name),
        listener(listenAs(directory, name)),
        epoll(watchSet(name)),
        outbound(directory, Hello{name, randomGeneration()}, reports, epoll.get()),
        inbound(directory, listener.get(), epoll.get(), reports) {
    watch(listener.get(), Inbound::listenerId);
    watch(reports.getFd(), wakeId);
  }

  // The socket goes first, so that peers can tell leaving from dying.
  ~LocalTransport() override { withdraw(); }

  bool send(const std::string& target, const unsigned char* bytes, std::size_t size) override {
    return outbound.send(target, bytes, size);
  }

  void receive(TransportSink& sink) override {
    Events events;
    while (!stopping) {
      const int count = waitForEvents(events, inbound.onTime(sink));
      for (int i = 0; i < count && !stopping; ++i) {
        handle(events[static_cast<std::size_t>(i)].data.u64, sink);
      }
      reports.hand(sink);
    }
  }

  void stop() override {
    stopping = true;
    reports.wake();
  }

  // In a child forked inside a callback the copy of the reception thread ends with that call.
  void closeAfterFork() noexcept override {
    stopping = true;
    BusFd::closeAllInChild();
  }

  void withdraw() noexcept override {
    if (!withdrawn.exchange(true)) unlinkat(directory.getFd(), name.c_str(), 0);
  }

 private:
  using Events = std::array<epoll_event, eventsPerTurn>;

  void watch(int fd, std::uint64_t id) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = id;
    if (epoll_ctl(epoll.get(), EPOLL_CTL_ADD, fd, &event) != 0) refuse(name, "no room in epoll");
  }

  // Returns how many there are, or -1.
  int waitForEvents(Events& events, int milliseconds) {
    int count = 0;
    const auto anyThere = [&] {
      count = epoll_wait(epoll.get(), events.data(), eventsPerTurn, 0);
      return count != 0;
    };
    if (briefWait.begin() && briefWait.yieldUntil(anyThere)) return count;
    return epoll_wait(epoll.get(), events.data(), eventsPerTurn, milliseconds);
  }

  void handle(std::uint64_t id, TransportSink& sink) {
    if (id == wakeId) {
      std::uint64_t count;
      const ssize_t taken = read(reports.getFd(), &count, sizeof count);
      static_cast<void>(taken);
    } else if (id == Inbound::listenerId) {
      inbound.onListenerReady(sink);
    } else if ((id & Outbound::idFlag) != 0) {
      outbound.onHangUp(id);
    } else {
      inbound.onConnectionReady(id, sink);
    }
  }

  const BusDirectory directory;
  const std::string name;
  const NameLock lock;
  const BusFd listener;
  const BusFd epoll;
  ReportQueue reports;
  Outbound outbound;
  Inbound inbound;
  BriefWait briefWait;
  std::atomic<bool> stopping{false};
  std::atomic<bool> withdrawn{false};
};

}  // namespace

std::unique_ptr<Transport> openLocalTransport(const std::string& name, const std::string& place) {
  return std::make_unique<LocalTransport>(name, place);
}

}  // namespace velp
