// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Asks the terminal for its width before each drawing: windows change while one waits.
#include "ProgressDisplay.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "../say.h"
#include "velp/runtime/LogUtil.h"

namespace {

constexpr std::size_t usualWidth = 80;
constexpr std::size_t shortestBar = 10;
constexpr std::size_t longestBar = 40;
constexpr std::size_t percentWidth = 7;  // "100 %  "

bool isSet(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0';
}

bool canRedraw() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && terminal != nullptr && std::string(terminal) != "dumb";
}

std::size_t terminalWidth() {
  struct winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usualWidth;
  return size.ws_col;
}

}  // namespace

std::string progressBar(unsigned int percent, const std::string& text, std::size_t width,
                        bool coloured) {
  const unsigned int shown = std::min(percent, 100U);
  std::string bar;
  if (width >= shortestBar + percentWidth + 4) {
    const std::size_t length = std::clamp(width / 3, shortestBar, longestBar);
    const std::size_t done = length * shown / 100;
    const std::string full(done, '#');
    bar = fmt::format("[{}{}{}{}] ", coloured ? "\x1b[32m" : "", full, coloured ? "\x1b[0m" : "",
                      std::string(length - done, '-'));
    width -= length + 3;
  }
  return bar + fmt::format("{:>3} %  {}", shown, text).substr(0, width);
}

ProgressDisplay::ProgressDisplay() : bar(canRedraw()), coloured(!isSet("NO_COLOR")) {}

void ProgressDisplay::show(unsigned int percent, const std::string& text) {
  const std::string clean = velp::escaped(text);
  const std::lock_guard<std::mutex> locker(mutex);
  if (finished) return;
  if (bar) {
    // The last column stays free: some terminals go to the next line when it is filled.
    const std::string line = progressBar(percent, clean, terminalWidth() - 1, coloured);
    std::fputs(("\r" + line + "\x1b[K").c_str(), stderr);
    std::fflush(stderr);
  } else {
    say(stderr, "{:>3} %  {}", percent, clean);
  }
  drawn = true;
}

void ProgressDisplay::finish() {
  const std::lock_guard<std::mutex> locker(mutex);
  if (bar && drawn && !finished) std::fputs("\n", stderr);
  finished = true;
}
