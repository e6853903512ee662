// SPDX-License-Identifier: MIT
// The property command: its command line and its commands.
#pragma once

namespace Property {

/// Reads the command line (the first argument is the program's name), does what it says and returns
/// the exit code. Data goes to the standard output, messages go to the standard error. Never
/// throws.
int RunTool(int Count, char const* const* Arguments) noexcept;

}  // namespace Property
