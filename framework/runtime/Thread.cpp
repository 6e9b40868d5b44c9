// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// How a thread begins, and what happens when an exception leaves it.
#include "velp/runtime/Thread.h"

#include <signal.h>

#include <cstdlib>
#include <exception>
#include <string>

#include "isForcedUnwind.h"
#include "velp/runtime/LogUtil.h"

namespace {

void blockAllSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

void setName(const char* name) {
  // The system refuses a name of more than 15 characters instead of cutting it.
  pthread_setname_np(pthread_self(), std::string(name).substr(0, 15).c_str());
}

[[noreturn]] void endProcess(const char* name, const std::string& text) {
  LogUtil::error("Thread", "startWrapper", "exception left thread ", name, ": ",
                 velp::escaped(text));
  std::abort();
}

}  // namespace

Thread::Thread() : handle(noThread()) {}

Thread::~Thread() = default;

void* Thread::startWrapper(void* thread) {
  auto* self = static_cast<Thread*>(thread);
  const char* name = self->getThreadName();
  blockAllSignals();
  setName(name);
  try {
    self->threadCode();
  } catch (const std::exception& error) {
    endProcess(name, error.what());
  } catch (...) {
    if (velp::isForcedUnwind()) throw;
    endProcess(name, "not a std::exception");
  }
  return nullptr;
}

const char* Thread::getThreadName() const {
  return "velp";
}

pthread_t Thread::noThread() {
  return ~pthread_t{0};
}
