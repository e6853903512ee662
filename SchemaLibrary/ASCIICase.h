// SPDX-License-Identifier: MIT
// Capital and small letters that count as the same: those of ASCII, whatever the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace Property {

inline char LowerCase(char Letter) noexcept {
  return Letter >= 'A' && Letter <= 'Z' ? static_cast<char>(Letter - 'A' + 'a') : Letter;
}

inline std::string LowerCase(std::string_view Text) {
  std::string Result(Text);
  for (char& Letter : Result) {
    Letter = LowerCase(Letter);
  }
  return Result;
}

inline bool IsSameText(std::string_view Left, std::string_view Right, bool AnyCase) {
  return AnyCase ? Left.size() == Right.size() &&
                       std::equal(Left.begin(), Left.end(), Right.begin(),
                                  [](char A, char B) { return LowerCase(A) == LowerCase(B); })
                 : Left == Right;
}

}  // namespace Property
