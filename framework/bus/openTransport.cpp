// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Names and addresses.
#include <algorithm>
#include <cerrno>

#include "bus/Transport.h"
#include "velp/runtime/LogUtil.h"
#include "velp/runtime/VelException.h"

namespace velp {

namespace {

constexpr std::size_t maxNameLength = 48;

bool isNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-';
}

[[noreturn]] void refuseAddress(int code, const std::string& address, const char* advice) {
  const std::string text = "\"" + escaped(address) + "\" " + advice;
  throw VelException(code, text.c_str());
}

}  // namespace

bool isParticipantName(const std::string& name) {
  return !name.empty() && name.size() <= maxNameLength &&
         std::all_of(name.begin(), name.end(), isNameCharacter);
}

std::unique_ptr<Transport> openTransport(const std::string& name, const std::string& address) {
  const std::size_t colon = address.find(':');
  const std::string scheme = address.substr(0, colon);
  if (colon != std::string::npos) {
    const std::string place = address.substr(colon + 1);
    if (scheme == "inproc") return openInprocTransport(name, place);
    if (scheme == "local") return openLocalTransport(name, place);
    if (scheme == "nats" || scheme == "tls") {
      refuseAddress(EPROTONOSUPPORT, address,
                    "needs the NATS transport, which this build does not have: an address that "
                    "begins with inproc: or local: works");
    }
  }
  refuseAddress(EINVAL, address,
                "is no bus address: use inproc:, inproc:NAME, local: or local:DIRECTORY");
}

}  // namespace velp
