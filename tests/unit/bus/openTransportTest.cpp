// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The grammars of names and addresses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "bus/Transport.h"
#include "process/PrivateBus.h"
#include "velp/runtime/VelException.h"

namespace velp::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

struct Refusal {
  int code = 0;
  std::string text;
};

Refusal refusalOf(const std::string& address) {
  try {
    openTransport("Name", address);
  } catch (const VelException& e) {
    return {e.getErrorCode(), e.what()};
  }
  return {};
}

TEST(isParticipantName, AllowsLettersDigitsUnderscoreAndHyphenOnly) {
  const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  for (int value = 0; value < 256; ++value) {
    const char c = static_cast<char>(value);
    const bool expected = allowed.find(c) != std::string::npos;
    EXPECT_EQ(isParticipantName(std::string(1, c)), expected) << value;
    EXPECT_EQ(isParticipantName(std::string("a") + c), expected) << value;
    EXPECT_EQ(isParticipantName(c + std::string("a")), expected) << value;
  }
}

TEST(isParticipantName, AllowsOneTo48Characters) {
  for (std::size_t length = 0; length < 100; ++length) {
    EXPECT_EQ(isParticipantName(std::string(length, 'x')), length >= 1 && length <= 48) << length;
  }
}

TEST(openTransport, OpensHubsInsideTheProcess) {
  for (const char* address : {"inproc:", "inproc:NAME", "inproc:a-b_C9"}) {
    EXPECT_NE(openTransport("Name", address), nullptr) << address;
  }
}

TEST(openTransport, OpensBusDirectories) {
  const PrivateBus bus;

  const auto sut = openTransport("Name", bus.address());

  EXPECT_NE(sut, nullptr);
  EXPECT_TRUE(std::filesystem::is_socket(bus.getPath() + "/Name"));
}

TEST(openTransport, RefusesOtherAddressesWithTheOnesThereAre) {
  for (const std::string& address :
       {std::string(), std::string(":"), std::string("inproc"), std::string("local"),
        std::string("INPROC:"), std::string("Local:/bus"), std::string("inprocx:"),
        std::string(" inproc:"), std::string("tcp://host:1"), std::string("/run/velp"),
        std::string("inproc\0:", 8)}) {
    const Refusal refusal = refusalOf(address);
    EXPECT_EQ(refusal.code, EINVAL) << address;
    EXPECT_THAT(refusal.text, HasSubstr("is no bus address: use inproc:, inproc:NAME, local: or "
                                        "local:DIRECTORY"));
  }
}

TEST(openTransport, ShowsARefusedAddressEscaped) {
  EXPECT_THAT(refusalOf("tcp\n:x").text, HasSubstr("\"tcp\\x0a:x\""));
}

TEST(openTransport, SaysWhatToUseInsteadOfNats) {
  for (const char* address : {"nats://host:4222", "nats:", "tls://host:4222,other:4222"}) {
    const Refusal refusal = refusalOf(address);
    EXPECT_EQ(refusal.code, EPROTONOSUPPORT) << address;
    EXPECT_THAT(refusal.text,
                AllOf(HasSubstr("\"" + std::string(address) +
                                "\" needs the NATS transport, which this build does not have: an "
                                "address that begins with inproc: or local: works"),
                      HasSubstr(strerror(EPROTONOSUPPORT))));
  }
}

TEST(openTransport, RefusesHubNamesOutsideTheGrammar) {
  for (const std::string& name : {std::string("a/b"), std::string("//"), std::string(49, 'x'),
                                  std::string("a b"), std::string("a\nb")}) {
    const Refusal refusal = refusalOf("inproc:" + name);
    EXPECT_EQ(refusal.code, EINVAL) << name;
    EXPECT_THAT(refusal.text, HasSubstr("\" is no name for a bus in the process: use 1 to 48 of "
                                        "A-Z a-z 0-9 _ -"));
  }
  EXPECT_THAT(refusalOf("inproc:a\nb").text, HasSubstr("\"a\\x0ab\""));
}

TEST(openTransport, RefusesADirectoryThatCannotBeMade) {
  const PrivateBus bus;

  EXPECT_EQ(refusalOf(bus.address() + "/missing/deeper").code, ENOENT);
}

TEST(openTransport, RefusesANameInUse) {
  const auto holder = openTransport("Name", "inproc:openTransport");

  const Refusal refusal = refusalOf("inproc:openTransport");
  EXPECT_EQ(refusal.code, EADDRINUSE);
  EXPECT_THAT(refusal.text, HasSubstr("the name Name is taken on inproc:openTransport by process " +
                                      std::to_string(getpid()) +
                                      ": choose another, or disconnect that participant"));
}

}  // namespace
}  // namespace velp::test
