// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The files that reports are made of.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Descriptor.h"

/// The regular files of a directory and of those below it. Paths start from the tree's root.
struct SourceList {
  struct File {
    std::string path;
    std::uint64_t size = 0;
  };
  std::vector<File> files;
  std::uint64_t bytes = 0;
  std::vector<std::string> unreadable;  ///< directories
};

/// A directory that nobody leads out of: neither ".." nor a symbolic link is followed anywhere
/// below it, also when it is put there while a report is being made.
class SourceTree {
 public:
  /// Throws std::system_error when `root` is no directory.
  explicit SourceTree(const std::string& root);

  const std::string& getRoot() const { return root; }
  /// The directory that a client means by `asked`, without leading or doubled slashes; empty for
  /// the root. Throws ReportError when it is outside the tree or no directory.
  std::string find(const std::string& asked) const;
  /// What is below `directory`, sorted. Calls `goOn` for each directory, which may throw.
  SourceList list(const std::string& directory, const std::function<void()>& goOn) const;
  /// A regular file, for reading; not open, and errno set, when it is none any more.
  Descriptor openFile(const std::string& path) const;

 private:
  Descriptor open(const std::string& path, int flags) const;
  std::string withoutRoot(const std::string& asked) const;

  const std::string given;
  const std::string root;
  Descriptor descriptor;
};
