// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Lets libFuzzer loose on one target, the one that VELP_FUZZ_TARGET names.
#include <sanitizer/allocator_interface.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/targets.h"

namespace {

const velp::fuzz::Target* chosen = nullptr;

void countAllocation(const volatile void*, std::size_t size) {
  velp::fuzz::allocated += size;
}

void ignoreRelease(const volatile void*) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  for (const velp::fuzz::Target& target : velp::fuzz::targets) {
    if (std::string(target.name) == VELP_FUZZ_TARGET) chosen = &target;
  }
  if (chosen == nullptr) {
    std::fputs("there is no target " VELP_FUZZ_TARGET "\n", stderr);
    std::_Exit(1);
  }
  __sanitizer_install_malloc_and_free_hooks(countAllocation, ignoreRelease);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  chosen->run(bytes, size);
  return 0;
}
