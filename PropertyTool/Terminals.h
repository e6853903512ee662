// SPDX-License-Identifier: MIT
// What terminals may be told.
#pragma once

namespace Property {

/// Whether the environment lets a terminal be told more than texts: there is no NO_COLOR that is
/// not empty, and the terminal is not a "dumb" one.
bool WantsControlSequences();

}  // namespace Property
