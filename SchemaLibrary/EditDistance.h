// SPDX-License-Identifier: MIT
// How far a mistyped name is from a name.
#pragma once

#include <cstddef>
#include <string_view>

namespace Property {

/// How many bytes have to be put in, left out, replaced or exchanged with their neighbour to make
/// `Right` of `Left`. More than `Limit` is told as `Limit` + 1, and found out soon.
std::size_t EditDistance(std::string_view Left, std::string_view Right, std::size_t Limit);

}  // namespace Property
