// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A bus directory of the test's own.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "velp/bus/VelpBusProxy.h"

namespace velp::test {

/// A fresh directory, mode 0700, removed with everything in it.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "velp-test.XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    path = pattern;
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path); }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& getPath() const { return path; }
  bool isEmpty() const { return std::filesystem::is_empty(path); }

 private:
  std::string path;
};

/// The same as a bus.
class PrivateBus : public ScratchDirectory {
 public:
  std::string address() const { return "local:" + getPath(); }
};

/// The test process as a participant named "Test" for the length of a scope.
class Joined {
 public:
  explicit Joined(const std::string& address) {
    VelpBusProxy::getInstance()->connect("Test", address);
  }
  ~Joined() { VelpBusProxy::getInstance()->disconnect(); }
  Joined(const Joined&) = delete;
  Joined& operator=(const Joined&) = delete;
};

}  // namespace velp::test
