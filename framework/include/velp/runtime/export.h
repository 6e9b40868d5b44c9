// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Marks what libvelpframework exports; everything else stays hidden.
#pragma once

#define VELP_FRAMEWORK_API __attribute__((visibility("default")))
// For a class nested in an exported one, which would be exported with it.
#define VELP_FRAMEWORK_HIDDEN __attribute__((visibility("hidden")))
