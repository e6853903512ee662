// SPDX-License-Identifier: MIT
// A file of the page that the console serves.
#pragma once

#include <string_view>
#include <vector>

namespace Property {

struct TSPageFile {
  char const* Path;  ///< "/", or below "/assets/" with a name that changes with the content
  char const* ContentType;
  std::string_view Content;
  std::string_view Packed;  ///< the content as gzip has it; empty where that is no shorter
};

/// What was built of PropertyConsole/page; empty in a console that was built without it.
std::vector<TSPageFile> const& PageFiles();

}  // namespace Property
