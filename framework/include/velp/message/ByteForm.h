// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Messages to bytes and back: the form that every transport carries.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "velp/message/MessageBase.h"

namespace velp {

/// The largest message that the bus carries, in bytes of its byte form.
constexpr std::size_t maxMessageSize = 16u * 1024 * 1024;

/// The byte form of `message`.
VELP_FRAMEWORK_API std::vector<unsigned char> encodeMessage(const MessageBase& message);

/// The message whose byte form is exactly the `size` bytes at `data`, or null when they are not the
/// byte form of any message; then `reason` says why. Never reads past `size`, and never allocates
/// more than the bytes there are announce.
VELP_FRAMEWORK_API std::unique_ptr<MessageBase> decodeMessage(const unsigned char* data,
                                                              std::size_t size,
                                                              std::string& reason);

}  // namespace velp
