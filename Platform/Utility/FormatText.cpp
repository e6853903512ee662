// SPDX-License-Identifier: MIT
// printf into a string.
#include "Platform/Utility/FormatText.h"

#include <cstddef>
#include <cstdio>

namespace {

// Most lines fit; only longer ones are printed twice.
constexpr std::size_t kUsualSize = 256;

}  // namespace

std::string FormatText(char const* Text, std::va_list Arguments) {
  std::va_list Again;
  va_copy(Again, Arguments);
  char Buffer[kUsualSize];
  int const Length = std::vsnprintf(Buffer, sizeof Buffer, Text, Arguments);
  std::string Result;
  if (Length < 0) {
    Result = Text;
  } else if (static_cast<std::size_t>(Length) < sizeof Buffer) {
    Result.assign(Buffer, static_cast<std::size_t>(Length));
  } else {
    Result.resize(static_cast<std::size_t>(Length));
    std::vsnprintf(Result.data(), Result.size() + 1, Text, Again);
  }
  va_end(Again);
  return Result;
}
