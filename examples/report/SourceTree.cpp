// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Every name below the root is opened step by step, each step from the directory opened before and
// without following links. Whoever may write below the root can thus not make a service that reads
// more than he does hand out a file from elsewhere, however fast he swaps files for links.
#include "SourceTree.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>

#include "ReportProtocol.h"

namespace {

using Entries = std::unique_ptr<DIR, int (*)(DIR*)>;

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY;

std::vector<std::string> stepsOf(const std::string& path) {
  std::vector<std::string> steps;
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string step = path.substr(begin, end - begin);
    if (!step.empty() && step != ".") steps.push_back(step);
    begin = end + 1;
  }
  return steps;
}

std::string joined(const std::string& directory, const std::string& name) {
  return directory.empty() ? name : directory + "/" + name;
}

bool isBelow(const std::string& path, const std::string& directory) {
  const bool begins = path.compare(0, directory.size(), directory) == 0;
  return begins && (path.size() == directory.size() || path[directory.size()] == '/' ||
                    directory.back() == '/');
}

// Adds a directory's files to the list, and its directories to those still to be listed.
void listOne(const std::string& directory, DIR* entries, SourceList& list,
             std::vector<std::string>& pending) {
  while (const dirent* entry = readdir(entries)) {
    const std::string name = entry->d_name;
    struct stat status = {};
    if (name == "." || name == ".." ||
        fstatat(dirfd(entries), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      continue;
    }
    if (S_ISDIR(status.st_mode)) pending.push_back(joined(directory, name));
    if (!S_ISREG(status.st_mode)) continue;
    list.files.push_back({joined(directory, name), static_cast<std::uint64_t>(status.st_size)});
    list.bytes += list.files.back().size;
  }
}

}  // namespace

SourceTree::SourceTree(const std::string& root)
    : given(std::filesystem::absolute(root).lexically_normal()),
      root(std::filesystem::canonical(root)),
      descriptor(::open(this->root.c_str(), directoryFlags | O_CLOEXEC)) {
  if (descriptor.isOpen()) return;
  throw std::system_error(errno, std::generic_category(), root);
}

std::string SourceTree::withoutRoot(const std::string& asked) const {
  if (asked.empty() || asked[0] != '/') return asked;
  for (const std::string& start : {root, given}) {
    if (isBelow(asked, start)) return asked.substr(start.size());
  }
  throw ReportError(REPORT_OUTSIDE_ROOT, "the path is outside " + root);
}

std::string SourceTree::find(const std::string& asked) const {
  std::string path;
  for (const std::string& step : stepsOf(withoutRoot(asked))) {
    if (step == "..") throw ReportError(REPORT_OUTSIDE_ROOT, "the path must not contain \"..\"");
    struct stat status = {};
    const Descriptor parent = open(path, directoryFlags);
    if (parent.isOpen() && fstatat(parent.get(), step.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(status.st_mode)) {
      throw ReportError(REPORT_OUTSIDE_ROOT, "the path leads over a symbolic link");
    }
    path = joined(path, step);
  }
  if (open(path, directoryFlags).isOpen()) return path;
  const std::string reason = std::generic_category().message(errno);
  throw ReportError(REPORT_NO_DIRECTORY, "cannot open the directory: " + reason);
}

SourceList SourceTree::list(const std::string& directory, const std::function<void()>& goOn) const {
  SourceList list;
  for (std::vector<std::string> pending = {directory}; !pending.empty();) {
    goOn();
    const std::string next = std::move(pending.back());
    pending.pop_back();
    Descriptor opened = open(next, directoryFlags);
    const Entries entries(opened.isOpen() ? fdopendir(opened.get()) : nullptr, closedir);
    if (entries == nullptr) {
      list.unreadable.push_back(next);
      continue;
    }
    opened.release();
    listOne(next, entries.get(), list, pending);
  }
  const auto earlier = [](const auto& a, const auto& b) { return a.path < b.path; };
  std::sort(list.files.begin(), list.files.end(), earlier);
  return list;
}

Descriptor SourceTree::openFile(const std::string& path) const {
  // Not blocking: a pipe put in the file's place must not stop the service.
  Descriptor file = open(path, O_RDONLY | O_NONBLOCK);
  struct stat status = {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return Descriptor(-1);
  if (S_ISREG(status.st_mode)) return file;
  errno = EINVAL;
  return Descriptor(-1);
}

Descriptor SourceTree::open(const std::string& path, int flags) const {
  const std::vector<std::string> steps = stepsOf(path);
  Descriptor at(openat(descriptor.get(), ".", directoryFlags | O_CLOEXEC));
  for (std::size_t i = 0; i < steps.size() && at.isOpen(); ++i) {
    const int how = i + 1 == steps.size() ? flags : directoryFlags;
    Descriptor next(openat(at.get(), steps[i].c_str(), how | O_NOFOLLOW | O_CLOEXEC));
    at = std::move(next);
  }
  return at;
}
