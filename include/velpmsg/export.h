// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Marks what libvelpmsg exports; everything else stays hidden.
#pragma once

#define VELPMSG_API __attribute__((visibility("default")))
