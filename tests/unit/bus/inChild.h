// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Runs a part of a test in a forked child.
#pragma once

#include <functional>

namespace velp::test {

/// Forks, calls `function` in the child, and waits for its end. False when an expectation failed
/// there, the child crashed, or it was still running after 60 s.
[[nodiscard]] bool inChild(const std::function<void()>& function);

}  // namespace velp::test
