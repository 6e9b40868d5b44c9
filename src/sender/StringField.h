// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// The one form of strings in payloads: a big-endian length, then the characters.
#pragma once

#include <string>
#include <vector>

/// Appends `text` to `buf` with a length prefix of 2 bytes if `lenSize` is 2, else of 1.
void appendStringField(std::vector<unsigned char>& buf, unsigned short lenSize,
                       const std::string& text);
