// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Pieces of the lines that toString() writes.
#pragma once

#include <string>
#include <vector>

namespace velp {

/// `line`, which ends in a brace, with `details` in front of that brace.
std::string withDetails(std::string line, const std::string& details);

/// `text` escaped and in quotes; after 256 bytes it is cut and its size told instead.
std::string quoted(const std::string& text);

/// The number of bytes and the first 16 of them in hex.
std::string hexStart(const std::vector<unsigned char>& bytes);

}  // namespace velp
