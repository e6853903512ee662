// SPDX-License-Identifier: MIT
// The TOML library, as it is safe for files that anybody may have written.
#pragma once

// Built into the program rather than linked, because only so the depth of values can be limited,
// and a check at the beginning of a section's name, "[.a]", be left to the one behind it: the first
// one ends the process, or in a release lets the compiler rely on what the file's author wrote.
#undef TOML_SHARED_LIB
#undef TOML_HEADER_ONLY
#undef NDEBUG
#define TOML_HEADER_ONLY 1
#define TOML_MAX_NESTED_VALUES 8
#define TOML_ASSERT(Condition) static_assert(true)
#include <toml++/toml.h>
