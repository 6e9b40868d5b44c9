// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Messages, their literal bytes and random ones, for the tests of this folder.
#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "velp/message/ByteForm.h"
#include "velp/message/SystemMessage.h"
#include "velp/message/VelpClientMessageRequest.h"
#include "velp/message/VelpClientMessageResponse.h"

namespace velp::samples {

using Bytes = std::vector<unsigned char>;

/// One message with its byte form as literal bytes.
struct Sample {
  std::string name;  ///< as docs/wire-format.md calls it
  std::shared_ptr<const MessageBase> message;
  Bytes bytes;
  /// Where the byte strings' lengths stand, and which field each belongs to.
  std::vector<std::pair<std::size_t, std::string>> lengths;
};

std::vector<Sample> all();

/// So that gtest names parametrised tests after the sample.
void PrintTo(const Sample& sample, std::ostream* os);

/// A generator whose seed is printed; --gtest_random_seed=N repeats a run.
std::mt19937 seededGenerator();

Bytes randomBytes(std::mt19937& random, std::size_t maxSize);
std::unique_ptr<MessageBase> randomMessage(std::mt19937& random);

/// Equality of two messages of any class.
bool equal(const MessageBase& a, const MessageBase& b);

}  // namespace velp::samples
