// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The directory that a local bus lives in.
#pragma once

#include <sys/types.h>
#include <sys/un.h>

#include <optional>
#include <string>

#include "bus/local/BusFd.h"

namespace velp {

/// A bus directory that has been found safe: nobody but its owner, root and, with the sticky bit,
/// its group can put anything into it, nor replace it.
///
/// Threads: any. Blocks: never. Owns: a descriptor of the directory.
/// Fails: the constructor throws VelException with a text that says what to do.
class BusDirectory {
 public:
  /// `place` is the absolute path, or empty for the default. Creates the directory when only it is
  /// missing.
  explicit BusDirectory(const std::string& place);

  const std::string& getPath() const { return path; }
  int getFd() const { return fd.get(); }
  /// Whether a group shares it.
  bool isShared() const { return shared; }

  /// The address of the socket of `name`, a valid name.
  sockaddr_un socketAddress(const std::string& name) const;
  /// The owner of `name`: that of its lock file, if it is a regular file with one link.
  std::optional<uid_t> ownerOf(const std::string& name) const;
  /// Whether the socket of `name` is there.
  bool hasSocket(const std::string& name) const;

  static std::string lockName(const std::string& name) { return name + ".lock"; }

 private:
  std::string path;
  BusFd fd;
  bool shared = false;
};

}  // namespace velp
