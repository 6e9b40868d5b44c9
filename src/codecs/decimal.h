// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Decimal numbers in texts, read and written as standard streams do, without a stream.
#pragma once

#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>

namespace velp {

constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Sets `number` to what formatted extraction in base 10 and the classic locale would leave in it:
/// untouched for a blank field, 0 where there is no number, the largest number for one out of range
/// whatever its sign, and otherwise the number, which a minus sign takes from 0, modulo its range.
template <typename Number>
void extractDecimal(std::string_view field, Number& number) {
  static_assert(std::numeric_limits<Number>::is_integer && !std::numeric_limits<Number>::is_signed);
  const std::size_t begin = field.find_first_not_of(" \t\n\v\f\r");
  if (begin == std::string_view::npos) return;
  field.remove_prefix(begin);
  const bool negative = field.front() == '-';
  if (negative || field.front() == '+') field.remove_prefix(1);
  Number value = 0;
  const auto result = std::from_chars(field.data(), field.data() + field.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    number = std::numeric_limits<Number>::max();
  } else {
    number = negative ? static_cast<Number>(0 - value) : value;
  }
}

/// The digits of the type's largest number.
template <typename Number>
constexpr std::size_t mostDigits = std::numeric_limits<Number>::digits10 + 1;

/// Writes the digits of `number`, up to mostDigits of them, and returns where they end.
template <typename Number>
char* writeDecimal(char* to, Number number) {
  return std::to_chars(to, to + mostDigits<Number>, number).ptr;
}

}  // namespace velp
