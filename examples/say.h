// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Lines for whoever watches a process.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <utility>

/// Writes a line to `stream` at once. That it cannot be written is no error: a process goes on when
/// nobody watches it any more, or when the disk that holds its log is full.
template <typename... Arguments>
void say(std::FILE* stream, fmt::format_string<Arguments...> form, Arguments&&... arguments) {
  const std::string line = fmt::format(form, std::forward<Arguments>(arguments)...) + '\n';
  std::fputs(line.c_str(), stream);
  std::fflush(stream);
}
