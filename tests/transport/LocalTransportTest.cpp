// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The suite on bus directories.
#include <memory>

#include "process/PrivateBus.h"
#include "transport/TransportSuite.h"

namespace velp::test {
namespace {

class LocalBus : public TestBus {
 public:
  std::string address() const override { return directory.address(); }

 private:
  PrivateBus directory;
};

std::unique_ptr<TestBus> makeLocalBus() {
  return std::make_unique<LocalBus>();
}

VELP_TEST_TRANSPORT(Local, (BusKind{"directory", makeLocalBus}));

}  // namespace
}  // namespace velp::test
