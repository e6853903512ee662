// SPDX-License-Identifier: MIT
// Which bytes of a text are characters.
#pragma once

#include <cstddef>
#include <string_view>

#include "Platform/PlatformExport.h"

/// Whether the byte can only stand within a UTF-8 sequence.
inline bool IsContinuation(char Byte) noexcept {
  return (static_cast<unsigned char>(Byte) & 0xc0U) == 0x80U;
}

/// Length of the valid UTF-8 sequence (RFC 3629) at the start of `Text`, 0 for none.
PROPERTY_PLATFORM_EXPORT std::size_t SequenceLength(std::string_view Text) noexcept;

/// Length of the beginning of `Text` that has `Most` bytes at most and no half character at its
/// end. Bytes that are no UTF-8 are cut anywhere.
PROPERTY_PLATFORM_EXPORT std::size_t BeginningLength(std::string_view Text,
                                                     std::size_t Most) noexcept;
