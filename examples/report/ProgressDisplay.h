// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Progress for people: a bar on a terminal, lines anywhere else.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

/// One line of at most `width` characters: a bar, the percentage and the text, of which as much as
/// fits. With colour, escape sequences come on top of the width.
std::string progressBar(unsigned int percent, const std::string& text, std::size_t width,
                        bool coloured);

/// Shows progress on standard error. A bar is drawn anew in its place when that is a terminal that
/// can do so; its colour goes when NO_COLOR is set. Any thread.
class ProgressDisplay {
 public:
  ProgressDisplay();

  /// `text` comes over the bus and is escaped, so that it cannot upset a terminal.
  void show(unsigned int percent, const std::string& text);
  /// Ends the bar's line; what is shown afterwards is ignored.
  void finish();

 private:
  const bool bar;
  const bool coloured;

  std::mutex mutex;
  bool drawn = false;     // guarded by mutex
  bool finished = false;  // guarded by mutex
};
