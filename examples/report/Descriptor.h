// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// An owned file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

/// Closes the descriptor that it holds, if any.
class Descriptor {
 public:
  explicit Descriptor(int number) : number(number) {}
  ~Descriptor() {
    if (number >= 0) close(number);
  }
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }

  int get() const { return number; }
  bool isOpen() const { return number >= 0; }
  /// Gives the descriptor to the caller.
  int release() { return std::exchange(number, -1); }

 private:
  int number;
};
