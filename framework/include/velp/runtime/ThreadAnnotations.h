// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Names for clang's thread-safety attributes; they vanish under other compilers.
#pragma once

#if defined(__clang__)
#define VELP_ATTRIBUTE(x) __attribute__((x))
#else
#define VELP_ATTRIBUTE(x)
#endif

#define VELP_CAPABILITY(name) VELP_ATTRIBUTE(capability(name))
#define VELP_SCOPED_CAPABILITY VELP_ATTRIBUTE(scoped_lockable)
#define VELP_GUARDED_BY(m) VELP_ATTRIBUTE(guarded_by(m))
#define VELP_REQUIRES(...) VELP_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VELP_ACQUIRE(...) VELP_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VELP_RELEASE(...) VELP_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VELP_TRY_ACQUIRE(...) VELP_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VELP_EXCLUDES(...) VELP_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VELP_RETURN_CAPABILITY(m) VELP_ATTRIBUTE(lock_returned(m))
#define VELP_NO_THREAD_SAFETY_ANALYSIS VELP_ATTRIBUTE(no_thread_safety_analysis)
