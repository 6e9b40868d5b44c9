// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The wrappers behind -Wl,--wrap: ask the hook, then fail or call the real function.
#include "unit/bus/local/systemCalls.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <utility>
#include <vector>

namespace velp::test {

namespace {

thread_local std::array<CallHook*, static_cast<std::size_t>(Call::count)> hooks{};
thread_local std::uint64_t stoppedAt = 0;  // milliseconds; 0 while the clock goes

CallHook*& hookOf(Call call) {
  return hooks[static_cast<std::size_t>(call)];
}

int decide(Call call) {
  CallHook*& hook = hookOf(call);
  return hook == nullptr ? 0 : hook->ask();
}

bool fails(Call call) {
  const int code = decide(call);
  if (code != 0) errno = code;
  return code != 0;
}

}  // namespace

CallHook::CallHook(Call call, Decide decide) : call(call), decide(std::move(decide)) {
  hookOf(call) = this;
}

CallHook::~CallHook() {
  hookOf(call) = nullptr;
}

int CallHook::ask() {
  ++asked;
  const int before = errno;
  hookOf(call) = nullptr;
  const int code = decide();
  hookOf(call) = this;
  errno = before;
  return code;
}

FailingCall::FailingCall(Call call, std::vector<int> codes)
    : CallHook(call, [left = std::move(codes), next = 0u]() mutable {
        return next < left.size() ? left[next++] : 0;
      }) {}

StoppedClock::StoppedClock() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  stoppedAt = static_cast<std::uint64_t>(now.tv_sec) * 1000;
}

StoppedClock::~StoppedClock() {
  stoppedAt = 0;
}

void StoppedClock::advance(std::uint64_t milliseconds) {
  stoppedAt += milliseconds;
}

}  // namespace velp::test

using velp::test::Call;
using velp::test::decide;
using velp::test::fails;

// Its hook may make it fail.
#define VELP_WRAP(result, name, failure, parameters, arguments)   \
  result __real_##name parameters;                                \
  result __wrap_##name parameters {                               \
    return fails(Call::name) ? failure : __real_##name arguments; \
  }

extern "C" {

VELP_WRAP(int, accept4, -1, (int fd, sockaddr* a, socklen_t* size, int flags), (fd, a, size, flags))
VELP_WRAP(int, bind, -1, (int fd, const sockaddr* a, socklen_t size), (fd, a, size))
VELP_WRAP(int, connect, -1, (int fd, const sockaddr* a, socklen_t size), (fd, a, size))
VELP_WRAP(int, epoll_create1, -1, (int flags), (flags))
VELP_WRAP(int, epoll_ctl, -1, (int set, int action, int fd, epoll_event* event),
          (set, action, fd, event))
VELP_WRAP(int, eventfd, -1, (unsigned int count, int flags), (count, flags))
VELP_WRAP(int, fstat64, -1, (int fd, struct stat* status), (fd, status))
VELP_WRAP(ssize_t, getrandom, -1, (void* bytes, std::size_t size, unsigned int flags),
          (bytes, size, flags))
VELP_WRAP(int, getsockopt, -1, (int fd, int level, int name, void* value, socklen_t* size),
          (fd, level, name, value, size))
VELP_WRAP(int, listen, -1, (int fd, int backlog), (fd, backlog))
VELP_WRAP(int, lstat64, -1, (const char* path, struct stat* status), (path, status))
VELP_WRAP(int, memfd_create, -1, (const char* name, unsigned int flags), (name, flags))
VELP_WRAP(int, mkdir, -1, (const char* path, mode_t mode), (path, mode))
VELP_WRAP(ssize_t, pread64, -1, (int fd, void* bytes, std::size_t size, off_t offset),
          (fd, bytes, size, offset))
VELP_WRAP(char*, realpath, nullptr, (const char* path, char* resolved), (path, resolved))
VELP_WRAP(int, recvmmsg, -1,
          (int fd, mmsghdr* messages, unsigned int count, int flags, timespec* limit),
          (fd, messages, count, flags, limit))
VELP_WRAP(ssize_t, send, -1, (int fd, const void* bytes, std::size_t size, int flags),
          (fd, bytes, size, flags))
VELP_WRAP(ssize_t, sendmsg, -1, (int fd, const msghdr* message, int flags), (fd, message, flags))
VELP_WRAP(int, socket, -1, (int domain, int type, int protocol), (domain, type, protocol))
VELP_WRAP(int, unlinkat, -1, (int directory, const char* path, int flags), (directory, path, flags))
VELP_WRAP(ssize_t, write, -1, (int fd, const void* bytes, std::size_t size), (fd, bytes, size))

int __real_pthread_mutex_lock(pthread_mutex_t*);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  decide(Call::pthread_mutex_lock);
  return __real_pthread_mutex_lock(mutex);
}

int __real_open64(const char*, int, ...);
int __wrap_open64(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return fails(Call::open64) ? -1 : __real_open64(path, flags, mode);
}

int __real_fcntl64(int, int, ...);
int __wrap_fcntl64(int fd, int command, ...) {
  std::va_list rest;
  va_start(rest, command);
  void* argument = va_arg(rest, void*);
  va_end(rest);
  return fails(Call::fcntl64) ? -1 : __real_fcntl64(fd, command, argument);
}

int __real_clock_gettime(clockid_t, timespec*);
int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  const std::uint64_t stopped = velp::test::stoppedAt;
  if (clock != CLOCK_MONOTONIC || stopped == 0) return __real_clock_gettime(clock, now);
  now->tv_sec = static_cast<time_t>(stopped / 1000);
  now->tv_nsec = static_cast<long>(stopped % 1000 * 1000000);
  return 0;
}
}
