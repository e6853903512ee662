// SPDX-License-Identifier: MIT
// What the command tells who started it.
#pragma once

namespace Property {

/// Exit codes; scripts rely on them.
enum class TEExit : int {
  eDone = 0,
  eRefused = 1,   ///< refused, failed, or what was compared is different
  eUsage = 2,     ///< the command line is wrong
  eNoServer = 3,  ///< no property server answers at the address
  eTimeOut = 4,   ///< what was waited for has not come in time
};

}  // namespace Property
