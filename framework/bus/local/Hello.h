// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The first packet of a local connection: who is calling.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velp {

/// What a connection opens with. The form is described in docs/wire-format-local.md.
struct Hello {
  std::string name;
  /// Random number of the participant's life under that name.
  std::uint64_t generation = 0;
};

constexpr unsigned char localProtocolVersion = 1;

std::vector<unsigned char> encodeHello(const Hello& hello);
/// Empty unless the bytes are exactly a hello of this protocol version with a valid name.
std::optional<Hello> decodeHello(const unsigned char* bytes, std::size_t size);

}  // namespace velp
