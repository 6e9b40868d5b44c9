// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Large frames as sealed memory files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bus/local/BusFd.h"

namespace velp {

/// A memory file with these bytes that nobody can change any more; an empty BusFd when the system
/// refuses.
BusFd createSealedMemory(const unsigned char* bytes, std::size_t size);

/// Reads all of a memory file that a peer sent and that must hold exactly `size` bytes, at most
/// maxMessageSize. Returns false, with the reason, when it is anything but a sealed memory file of
/// that size. Allocates nothing before that is clear, and never maps it.
bool readSealedMemory(int fd, std::size_t size, std::vector<unsigned char>& bytes,
                      std::string& reason);

}  // namespace velp
