// SPDX-License-Identifier: MIT
// What lets a file with thousands of schema nodes compile.
#pragma once

#include <type_traits>

#include "CommonProperties/PropertyExport.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

/// Belongs to classes whose static objects come in thousands. g++ works out what each pointer in
/// each of them may point to, in a time that grows with the third power of the number of members
/// looked at. It takes an object of more than a hundred separate members for one piece, and these
/// are the smallest that count: a bit each, with a gap behind.
template <int Count>
struct TSPieces : TSPieces<Count - 1> {
  // Each hides the one below.
  // cppcheck-suppress duplInheritedMember
  unsigned char m_Piece : 1;
};
template <>
struct TSPieces<0> {};
using TSOnePiece = TSPieces<104>;

/// Chooses a constructor when all of these arguments are C strings. All static objects of a file
/// are built in one function, and what a compiler needs for that one grows with the square of the
/// temporary objects in it: so literals go to the library as pointers, which makes texts of them.
template <class... P>
using TIfText =
    std::enable_if_t<std::conjunction_v<std::is_same<std::remove_const_t<P>, char>...>, int>;

/// The number of a node's parent, or none. Stands in for a nullable number and, unlike that, leaves
/// the compiler nothing to destroy.
class TCParentNumber {
 public:
  constexpr TCParentNumber() noexcept = default;
  constexpr TCParentNumber(int Number) noexcept : m_Null(false), m_Number(Number) {}
  TCParentNumber(Accessories::TCNullTypes<int> const& Number) noexcept
      : m_Null(Number.IsNull()), m_Number(Number.get_Value()) {}

  Accessories::TCNullTypes<int> get_Nullable() const {
    return m_Null ? Accessories::TCNullTypes<int>() : Accessories::TCNullTypes<int>(m_Number);
  }

 private:
  bool m_Null = true;
  int m_Number = 0;
};

/// The same for name and description of a node, with a parent of any type that stands for a number.
template <class N, class D, class P>
using TIfNode = std::enable_if_t<std::is_convertible_v<P, TCParentNumber>, TIfText<N, D>>;

}  // namespace Property
