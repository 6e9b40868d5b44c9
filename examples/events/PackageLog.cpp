// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Reads the package manager's log line by line.
#include "PackageLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace {

using Event = VelpMsgReqGetEventList::Event;

// Beyond this the length prefix of the list text would wrap.
constexpr std::size_t maxListText = 65535;

// An action's code is its position, from 1.
const char* const actions[] = {"install",  "upgrade", "remove", "purge",   "configure",
                               "trigproc", "startup", "status", "conffile"};

unsigned int codeOf(const std::string& action) {
  const auto found = std::find(std::begin(actions), std::end(actions), action);
  if (found == std::end(actions)) return 0;
  return static_cast<unsigned int>(std::distance(std::begin(actions), found)) + 1;
}

// Whether `text` looks like `form`, in which 0 stands for any digit.
bool looksLike(const std::string& text, const std::string& form) {
  const auto same = [](char character, char wanted) {
    return wanted == '0' ? character >= '0' && character <= '9' : character == wanted;
  };
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), same);
}

unsigned long long digitsOf(const std::string& text) {
  unsigned long long number = 0;
  for (const char character : text) {
    if (character >= '0' && character <= '9') {
      number = number * 10 + static_cast<unsigned long long>(character - '0');
    }
  }
  return number;
}

// The event list cannot carry blanks and semicolons in a text, and nobody wants control characters.
std::string carriable(std::string text) {
  const auto uncarriable = [](char character) {
    return character <= ' ' || character == ';' || character == '\x7f';
  };
  std::replace_if(text.begin(), text.end(), uncarriable, '_');
  return text;
}

bool readEvent(const std::string& line, Event& event) {
  std::istringstream words(line);
  std::string date;
  std::string time;
  std::string action;
  std::string subject;
  words >> date >> time >> action;
  event.code = codeOf(action);
  if (action == "status") words >> action;
  words >> subject;
  if (words.fail() || event.code == 0) return false;
  if (!looksLike(date, "0000-00-00") || !looksLike(time, "00:00:00")) return false;
  event.number = digitsOf(date + time);
  event.text = carriable(action + "=" + subject);
  return true;
}

}  // namespace

PackageLog readPackageLog(std::istream& lines) {
  PackageLog log;
  for (std::string line; std::getline(lines, line);) {
    Event event;
    if (readEvent(line, event)) {
      log.events.push_back(event);
    } else {
      ++log.skipped;
    }
  }
  return log;
}

std::string generatePackageLog() {
  const char* const packages[] = {"bash", "coreutils", "libc6", "perl-base", "tar", "zlib1g"};
  std::string log;
  int minute = 0;
  for (const char* package : packages) {
    const std::string time = fmt::format("2026-11-01 10:{:02}", minute++);
    log += fmt::format("{}:00 install {}:amd64 <none> 1.{}\n", time, package, minute);
    log += fmt::format("{}:10 status unpacked {}:amd64 1.{}\n", time, package, minute);
    log += fmt::format("{}:20 configure {}:amd64 1.{} <none>\n", time, package, minute);
    log += fmt::format("{}:21 status installed {}:amd64 1.{}\n", time, package, minute);
  }
  return log;
}

std::size_t keepMostRecent(std::vector<Event>& events, std::size_t limit) {
  const std::size_t wanted = std::min(events.size(), limit);
  std::size_t kept = 0;
  std::size_t listText = 0;
  while (kept < wanted) {
    const Event& next = events[events.size() - kept - 1];
    listText += next.getEventInfo().size() + (kept > 0 ? 1 : 0);
    if (listText > maxListText) break;
    ++kept;
  }
  const auto dropped = static_cast<std::ptrdiff_t>(events.size() - kept);
  events.erase(events.begin(), events.begin() + dropped);
  return wanted - kept;
}
