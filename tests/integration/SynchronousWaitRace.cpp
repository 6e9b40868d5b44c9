// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The race itself: the bus and the clock of timed waits are replaced, the rest is the real thing.
#include "SynchronousWaitRace.h"

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <random>
#include <thread>

#include "velp/bus/VelpBusProxy.h"
#include "velpmsg/VelpMsgSender.h"

namespace {

using Request = VelpClientMessageRequest;
using Response = VelpClientMessageResponse;

constexpr auto eventList = VelpClientMessageBase::MSG_GET_EVENT_LIST;

// How many requests have been sent, and how many answers have been delivered completely.
std::atomic<unsigned long> sent{0};
std::atomic<unsigned long> answered{0};

// Random delays far below what a sleep can do.
class Delay {
 public:
  Delay(unsigned int seed, unsigned int most) : random(seed), nanoseconds(0, most) {}

  void pass() {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::nanoseconds(nanoseconds(random));
    while (std::chrono::steady_clock::now() < end) {
    }
  }

 private:
  std::mt19937 random;
  std::uniform_int_distribution<unsigned int> nanoseconds;
};

// What each racing thread does before it takes any lock: so delays fall into every gap.
thread_local Delay* delayHere = nullptr;

// Answers each request once, in a thread of its own.
class Answerer {
 public:
  explicit Answerer(unsigned int mostDelay) : thread([this, mostDelay] { run(mostDelay); }) {}
  ~Answerer() {
    stop = true;
    thread.join();
  }

 private:
  void run(unsigned int mostDelay) {
    Delay delay(1, mostDelay);
    delayHere = &delay;
    while (awaitRequest()) {
      VelpMsgSender::getInstance()->velpBusProxyCb(&response, "Service", "Client");
      ++answered;
    }
  }

  bool awaitRequest() {
    for (unsigned int spins = 0; sent == answered; ++spins) {
      if (stop) return false;
      if (spins > 1000) std::this_thread::yield();
    }
    return true;
  }

  const Response response{eventList, Response::STATUS_OK};
  std::atomic<bool> stop{false};
  std::thread thread;
};

timespec inOneSecond() {
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  ++time.tv_sec;
  return time;
}

}  // namespace

// The wrappers, named as the linker's --wrap option wants them.

bool sendTo(VelpBusProxy*, const std::string&, const MessageBase&) asm(
    "__wrap__ZN12VelpBusProxy6sendToERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
    "RK11MessageBase");
bool sendTo(VelpBusProxy*, const std::string&, const MessageBase&) {
  ++sent;
  // As often as the answerer passes before it notes its answer: so the two arrive together.
  for (int locks = 0; locks < 3; ++locks) delayHere->pass();
  return true;
}

void realLock(Mutex*) asm("__real__ZN5Mutex4lockEv");
void lock(Mutex*) asm("__wrap__ZN5Mutex4lockEv");
void lock(Mutex* mutex) {
  if (delayHere != nullptr) delayHere->pass();
  realLock(mutex);
}

int realTimedWait(pthread_cond_t*, pthread_mutex_t*,
                  const timespec*) asm("__real_pthread_cond_timedwait");
int timedWait(pthread_cond_t*, pthread_mutex_t*,
              const timespec*) asm("__wrap_pthread_cond_timedwait");
int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec*) {
  while (true) {
    const timespec deadline = inOneSecond();
    const int rc = realTimedWait(condition, mutex, &deadline);
    if (rc != ETIMEDOUT || sent == answered) return rc;
  }
}

velp::test::RaceResult velp::test::raceAnswersAgainstWaits(unsigned long requests,
                                                           unsigned int mostDelay,
                                                           unsigned long enough) {
  VelpMsgSender& sut = *VelpMsgSender::getInstance();
  const Request request(eventList, nullptr, 0);
  Delay delay(2, mostDelay);
  delayHere = &delay;
  Answerer answerer(mostDelay);
  RaceResult result;
  while (result.requests < requests && result.falseTimeouts < enough) {
    Response response;
    if (sut.sendRequestWaitForResponse("Service", request, response, 1) == -2) {
      ++result.falseTimeouts;
    }
    ++result.requests;
  }
  delayHere = nullptr;
  return result;
}
