// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The timer thread: waits for the earliest timer, runs its callback, puts it back.
//
//     add ──▶ queued ──due──▶ running ──goes on──▶ queued
//               │                │
//             cancel         cancel, or ended: gone
//
// A callback runs without the lock, so it may do anything with timers, and others may meanwhile
// cancel its own. Cancelling takes the timer out of the table only: the thread that runs the
// callback holds the timer too, finds it gone when it comes back, and lets it die.
//
// A callback's destructor is the user's code as well, and may even destroy a VelTimer. So a timer
// never dies under the lock: whoever takes it out of the table keeps it until the lock is released.
//
// cancelAll() must not return while a callback of that owner runs or is being destroyed. `running`
// is therefore cleared last, when the thread has dropped the timer. Only one callback runs at a
// time, so at most one destructor waits for it, and one signal is enough.
#include "TimerService.h"

#include <time.h>

#include <atomic>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include "isForcedUnwind.h"
#include "velp/runtime/LogUtil.h"
#include "velp/runtime/MutexLocker.h"

namespace velp {

namespace {

constexpr unsigned long long latest = std::numeric_limits<unsigned long long>::max();

std::atomic<TimerService*> current{nullptr};
TimerService* abandoned = nullptr;

// In a forked child: the thread is gone and the lock may be held for ever. The parent's service is
// left as it is, still referred to so that it does not count as leaked.
void abandonService() {
  abandoned = current.exchange(nullptr);
}

TimerService& makeService() {
  static const int forkHandler = pthread_atfork(nullptr, nullptr, abandonService);
  static_cast<void>(forkHandler);
  auto fresh = std::make_unique<TimerService>();
  TimerService* service = nullptr;
  if (current.compare_exchange_strong(service, fresh.get())) service = fresh.release();
  return *service;
}

unsigned long long nowMicroseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 1000000 +
         static_cast<unsigned long long>(now.tv_nsec) / 1000;
}

unsigned long long nowMilliseconds() {
  return nowMicroseconds() / 1000;
}

// How long to wait for `due`; "for ever" is long enough for a timer that is due at the end of time.
unsigned long long microsecondsUntil(unsigned long long due) {
  if (due > latest / 1000) return latest;
  const unsigned long long now = nowMicroseconds();
  return due * 1000 > now ? due * 1000 - now : 0;
}

void logFailure(unsigned short id, const std::string& text) {
  LogUtil::error("VelTimer", "runCallback", "timer ended, callback threw, id=", id, ": ",
                 escaped(text));
}

}  // namespace

unsigned long long nextDue(unsigned long long due, unsigned long long interval,
                           unsigned long long now) {
  if (interval > latest - due) return latest;
  const unsigned long long next = due + interval;
  if (next > now) return next;
  const unsigned long long missed = (now - next) / interval + 1;
  return next + missed * interval;
}

struct TimerService::Timer {
  // Runs the callback. True when the timer goes on.
  bool runCallback();

  // Constant after construction.
  const Owner owner;
  const VelTimer::Callback callback;
  const unsigned short id;
  const bool periodic;

  // The service's lock guards these; of a running timer the service's thread owns `interval`.
  unsigned long long interval;
  unsigned long long due = 0;
  unsigned short handle = 0;
};

bool TimerService::Timer::runCallback() {
  unsigned long long wanted = interval;
  try {
    const VelTimer::timerResult_t result = callback(due, id, wanted);
    if (wanted != 0) interval = wanted;
    return periodic && result != VelTimer::TIMER_STOP;
  } catch (const std::exception& error) {
    logFailure(id, error.what());
  } catch (...) {
    if (isForcedUnwind()) throw;
    logFailure(id, "not a std::exception");
  }
  return false;
}

TimerService& TimerService::get() {
  TimerService* service = current.load();
  return service != nullptr ? *service : makeService();
}

unsigned short TimerService::add(const Owner& owner, VelTimer::Callback callback,
                                 unsigned long long interval, unsigned short id, bool periodic) {
  if (interval == 0 || callback.empty()) return 0;
  const TimerPtr timer(new Timer{owner, std::move(callback), id, periodic, interval});
  MutexLocker locker(mutex);
  if (!startNoLock()) return 0;
  timer->handle = takeHandleNoLock();
  if (timer->handle == 0) return 0;
  timer->due = nextDue(nowMilliseconds(), interval, 0);
  timers.emplace(timer->handle, timer);
  enqueueNoLock(timer);
  return timer->handle;
}

void TimerService::cancel(const Owner& owner, unsigned short handle) {
  TimerPtr cancelled;
  MutexLocker locker(mutex);
  const auto found = timers.find(handle);
  if (found != timers.end() && found->second->owner == owner) cancelled = removeNoLock(handle);
}

void TimerService::cancelAll(const Owner& owner) {
  std::vector<TimerPtr> cancelled;
  MutexLocker locker(mutex);
  for (const auto& entry : timers) {
    if (entry.second->owner == owner) cancelled.push_back(entry.second);
  }
  for (const TimerPtr& timer : cancelled) removeNoLock(timer->handle);
  while (mustWaitForNoLock(owner)) idle.wait(mutex);
}

void TimerService::threadCode() {
  while (true) {
    TimerPtr timer = waitForDue();
    const bool goesOn = timer->runCallback();
    settle(timer, goesOn);
    timer.reset();
    setIdle();
  }
}

const char* TimerService::getThreadName() const {
  return "velp-timer";
}

TimerService::TimerPtr TimerService::waitForDue() {
  MutexLocker locker(mutex);
  while (queue.empty() || queue.begin()->first > nowMilliseconds()) {
    if (queue.empty()) {
      wake.wait(mutex);
    } else {
      static_cast<void>(wake.wait(mutex, microsecondsUntil(queue.begin()->first)));
    }
  }
  const TimerPtr timer = timers.at(queue.begin()->second);
  queue.erase(queue.begin());
  running = timer->owner;
  return timer;
}

void TimerService::settle(const TimerPtr& timer, bool goesOn) {
  MutexLocker locker(mutex);
  const auto found = timers.find(timer->handle);
  // Cancelled meanwhile; a new timer may even have its handle by now.
  if (found == timers.end() || found->second != timer) return;
  if (!goesOn) {
    timers.erase(found);
    return;
  }
  timer->due = nextDue(timer->due, timer->interval, nowMilliseconds());
  enqueueNoLock(timer);
}

void TimerService::setIdle() {
  MutexLocker locker(mutex);
  running.reset();
  idle.signal();
}

bool TimerService::startNoLock() {
  if (handle != noThread()) return true;
  const int rc = pthread_create(&handle, nullptr, Thread::startWrapper, static_cast<Thread*>(this));
  if (rc != 0) {
    handle = noThread();
    LogUtil::error("VelTimer", "registerTimer", "cannot start the timer thread, error ", rc);
    return false;
  }
  pthread_detach(handle);
  return true;
}

unsigned short TimerService::takeHandleNoLock() {
  if (timers.size() == std::numeric_limits<unsigned short>::max()) return 0;
  do {
    ++lastHandle;
  } while (lastHandle == 0 || timers.count(lastHandle) != 0);
  return lastHandle;
}

void TimerService::enqueueNoLock(const TimerPtr& timer) {
  const auto place = queue.emplace(timer->due, timer->handle).first;
  if (place == queue.begin()) wake.signal();
}

TimerService::TimerPtr TimerService::removeNoLock(unsigned short handle) {
  const auto found = timers.find(handle);
  TimerPtr removed = std::move(found->second);
  timers.erase(found);
  queue.erase({removed->due, handle});
  return removed;
}

bool TimerService::mustWaitForNoLock(const Owner& owner) const {
  return running == owner && !pthread_equal(pthread_self(), handle);
}

}  // namespace velp
