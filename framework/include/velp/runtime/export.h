// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Marks what libvelpframework exports; everything else stays hidden.
#pragma once

#define VELP_FRAMEWORK_API __attribute__((visibility("default")))
