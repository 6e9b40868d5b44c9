// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Which events to remove, as options and as a request.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "velp/message/VelpClientMessageRequest.h"

/// What the user wants removed.
struct Removal {
  bool all = false;
  std::vector<std::string> ranges;  ///< as "20261101100000-20261101100059"
  std::vector<std::string> texts;
};

/// Adds --remove-all, --remove-range and --remove-text, which are checked when they are parsed.
void declareRemoval(CLI::App& app, Removal& removal);

bool isWanted(const Removal& removal);

/// The remove-data request that asks for it.
VelpClientMessageRequest requestOf(const Removal& removal);
