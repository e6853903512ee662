// SPDX-License-Identifier: MIT
// Whose code a process may load: only what nobody else could have put there.
#pragma once

#include <string>

namespace Property {

/// Why this process must not load code from `Path`; empty when it may. `Path` is absolute and has
/// no links in it. The file, and every folder above it, has to be owned by root or by the effective
/// user of this process, and may be written by no others; a group may write when it is root's or
/// the process's own. In a folder where only owners remove files ("sticky"), anybody may write. Fit
/// for a terminal.
std::string ReasonAgainstPlace(std::string const& Path);

}  // namespace Property
