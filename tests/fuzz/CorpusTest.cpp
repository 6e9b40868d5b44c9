// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Everything that fuzzing has brought to light so far is decoded again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "fuzz/targets.h"

namespace velp::fuzz {

void PrintTo(const Target& target, std::ostream* stream) {
  *stream << target.name;
}

namespace {

std::vector<unsigned char> contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void replay(const Target& target, const std::vector<unsigned char>& bytes) {
  target.run(bytes.data(), bytes.size());
  // Whatever is cut off, and whatever follows.
  for (std::size_t size = 0; size != bytes.size(); ++size) target.run(bytes.data(), size);
  std::vector<unsigned char> longer = bytes;
  longer.push_back(0);
  target.run(longer.data(), longer.size());
}

class Corpus : public testing::TestWithParam<Target> {};

TEST_P(Corpus, IsDecodedWithoutABrokenPromise) {
  unsigned int inputs = 0;
  const std::filesystem::path folder = std::string(VELP_FUZZ_CORPUS) + GetParam().name;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(file.path());
    replay(GetParam(), contentOf(file.path()));
    ++inputs;
  }
  EXPECT_GE(inputs, 4u) << "in " << folder;
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Corpus, testing::ValuesIn(targets),
                         [](const auto& suite) { return suite.param.name; });

}  // namespace
}  // namespace velp::fuzz
