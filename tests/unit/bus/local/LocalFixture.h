// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// What the tests of the local transport share: a scratch bus directory, refusals, descriptor
// counts.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bus/Transport.h"
#include "bus/local/BusDirectory.h"
#include "process/PrivateBus.h"
#include "velp/runtime/VelException.h"

namespace velp::test {

using Bytes = std::vector<unsigned char>;

/// A user who is not the one that runs the tests.
constexpr uid_t stranger = 65534;

/// For tests that give files away or become another user.
#define VELP_NEEDS_ROOT() \
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others"

/// What an operation threw; code 0 when it did not.
struct Refusal {
  int code = 0;
  std::string text;
};

inline Refusal refusalOf(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const VelException& exception) {
    return {exception.getErrorCode(), exception.what()};
  }
  return {};
}

inline std::size_t countDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// Fails the test when its scope leaves more or fewer descriptors open than it found.
class NoLeaks {
 public:
  ~NoLeaks() { EXPECT_EQ(countDescriptors(), before) << "descriptors left open"; }

 private:
  const std::size_t before = countDescriptors();
};

/// Keeps what a transport hands up.
class RecordingSink : public TransportSink {
 public:
  struct Frame {
    std::string source;
    Bytes bytes;
  };
  struct Report {
    VelpBusProxyCallback::StatusCBType_t type;
    int code;
    std::string text;
  };

  bool onFrame(const std::string& source, const unsigned char* bytes, std::size_t size,
               std::string& reason) override {
    frames.push_back({source, Bytes(bytes, bytes + size)});
    if (hook) hook();
    reason = "it is no message";
    return accepts;
  }
  void onStatus(VelpBusProxyCallback::StatusCBType_t type, int code,
                const std::string& text) override {
    reports.push_back({type, code, text});
    if (reportHook) reportHook();
  }

  std::vector<Frame> frames;
  std::vector<Report> reports;
  bool accepts = true;
  std::function<void()> hook;        // called in each onFrame()
  std::function<void()> reportHook;  // called in each onStatus()
};

/// A safe bus directory.
class LocalBus : public testing::Test {
 protected:
  const ScratchDirectory scratch;
  const BusDirectory directory{scratch.getPath()};
  const std::string path = directory.getPath();
};

}  // namespace velp::test
