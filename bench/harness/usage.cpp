// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reads what the kernel has counted.
//
// CPU times come from the processes' clocks: they count nanoseconds, not ticks, and keep the time
// of threads that have ended. Only a thread that runs at this very moment may miss up to one tick.
#include "bench/harness/usage.h"

#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace velp::bench {

namespace {

std::int64_t cpuOf(pid_t process) {
  clockid_t clock = {};
  timespec time = {};
  if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
    throw std::runtime_error("no process " + std::to_string(process) + " to watch");
  }
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

void addSwitchesOfThread(const std::filesystem::path& folder, Usage& usage) {
  std::ifstream status(folder / "status");
  std::string line;
  while (std::getline(status, line)) {
    const std::size_t colon = line.find(':');
    const std::string key = line.substr(0, colon);
    if (key == "voluntary_ctxt_switches") usage.voluntary += std::stoll(line.substr(colon + 1));
    if (key == "nonvoluntary_ctxt_switches") {
      usage.involuntary += std::stoll(line.substr(colon + 1));
    }
  }
}

void addProcess(pid_t process, Usage& usage) {
  const std::filesystem::path tasks = "/proc/" + std::to_string(process) + "/task";
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    addSwitchesOfThread(task.path(), usage);
  }
  usage.cpu += cpuOf(process);
}

}  // namespace

Usage usageOf(const std::vector<pid_t>& others) {
  Usage usage;
  for (const pid_t process : others) addProcess(process, usage);
  addProcess(getpid(), usage);
  return usage;
}

Usage operator-(const Usage& later, const Usage& earlier) {
  return {later.cpu - earlier.cpu, later.voluntary - earlier.voluntary,
          later.involuntary - earlier.involuntary};
}

}  // namespace velp::bench
