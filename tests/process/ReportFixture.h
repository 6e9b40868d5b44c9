// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// A report service with files of its own, and clients of it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "process/ChildProcess.h"
#include "process/PrivateBus.h"
#include "support/fixedTexts.h"

namespace velp::test {

/// The steps of a report.
namespace steps {

const std::string packing = texts::steps[26];
const std::string checking = texts::steps[29];
const std::string preparing = texts::steps[19];
const std::string syncing = texts::steps[16];
const std::string synced = texts::steps[17];
const std::string finished = texts::steps[28];
const std::string cleanup = texts::steps[27];

}  // namespace steps

/// Starts the programs on a private bus, with an empty source and an empty output directory.
struct ReportPrograms : testing::Test {
  using Words = std::vector<std::string>;

  ReportPrograms() {
    std::filesystem::create_directory(source);
    std::filesystem::create_directory(output);
  }

  static Words joined(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  Words serviceCommand(const Words& options = {}) const {
    return joined(
        {VELP_BIN "report-service", "--bus", bus.address(), "--source", source, "--output", output},
        options);
  }
  Words clientCommand(const Words& options = {}) const {
    return joined({VELP_BIN "report-client", "--bus", bus.address(), "--timeout", timeout},
                  options);
  }
  /// The client with its progress on standard output, where a test can wait for it.
  Words watchedClient(const Words& options = {}) const {
    return joined({"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh"}, clientCommand(options));
  }

  /// Runs a client to its end and returns its status.
  int ask(const Words& options = {}) {
    ChildProcess client(clientCommand(options));
    const int status = client.waitForEnd();
    out = client.out();
    err = client.err();
    return status;
  }

  /// Writes a file below the source, of bytes that do not get smaller by compression.
  std::string write(const std::string& path, std::size_t size) const {
    std::string bytes(size, '\0');
    std::minstd_rand random(static_cast<unsigned int>(size + 1));
    for (char& byte : bytes) byte = static_cast<char>(random() >> 8 & 0xff);
    const std::filesystem::path whole = source + "/" + path;
    std::filesystem::create_directories(whole.parent_path());
    std::ofstream(whole, std::ios::binary) << bytes;
    return bytes;
  }

  /// The names in the output directory that end so.
  Words outputs(const std::string& end) const {
    Words names;
    for (const auto& entry : std::filesystem::directory_iterator(output)) {
      const std::string name = entry.path().filename();
      if (name.size() >= end.size() && name.substr(name.size() - end.size()) == end) {
        names.push_back(name);
      }
    }
    return names;
  }

  PrivateBus bus;
  ScratchDirectory files;
  std::string source = files.getPath() + "/source";
  std::string output = files.getPath() + "/output";
  std::string timeout = "50";
  std::string out;
  std::string err;
};

/// What a client shows when the archive is in the making, and stays so when the service has a pace
/// of 1 and more than a few bytes to pack.
const std::string packingBegun = "5 %  " + steps::packing;

}  // namespace velp::test
