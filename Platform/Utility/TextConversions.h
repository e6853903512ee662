// SPDX-License-Identifier: MIT
// Numbers to text and back, printf into a string, and bits kept as text.
// Independent of the locale; every function is safe on every thread.
#pragma once

#include <string>

#include "Platform/PlatformExport.h"
#include "Platform/Utility/TCNullTypes.h"

PROPERTY_PLATFORM_EXPORT std::string ToString(int Value);
PROPERTY_PLATFORM_EXPORT std::string ToString(unsigned long long Value);
/// Decimal; empty when null.
PROPERTY_PLATFORM_EXPORT std::string ToString(Accessories::TCNullTypes<int> const& Value);
/// Decimal; empty when null.
PROPERTY_PLATFORM_EXPORT std::string ToString(Accessories::TCNullTypes<long long> const& Value);

// A number is an optional sign and decimal digits, and nothing else, within the named range.

/// 32-bit range; 0 for any other text.
PROPERTY_PLATFORM_EXPORT int ToInt(std::string const& Text) noexcept;
/// 32-bit range; `Default` for any other text.
PROPERTY_PLATFORM_EXPORT int ToIntDef(std::string const& Text, int Default) noexcept;
/// 32-bit range on every machine. Any other text sets `OK` to false and returns 0.
PROPERTY_PLATFORM_EXPORT long StringToLong(std::string const& Text, bool& OK) noexcept;
/// 64-bit range. Any other text sets `OK` to false and returns 0.
PROPERTY_PLATFORM_EXPORT long long StringToBigInt(std::string const& Text, bool& OK) noexcept;
/// Also with a fraction or an exponent, as in "2.5" and "1e3". Any other text, and a number out of
/// range, sets `OK` to false and returns 0.
PROPERTY_PLATFORM_EXPORT double StringToDouble(std::string const& Text, bool& OK) noexcept;

/// Replaces `Result` by the printf-style text and returns it; arguments may point into it.
PROPERTY_PLATFORM_EXPORT std::string& sprintf(std::string& Result, char const* Text, ...)
    __attribute__((format(printf, 2, 3)));

/// Bits as text: the character at an index is that bit, '1' when it is set.
/// False for a bit outside the text.
PROPERTY_PLATFORM_EXPORT bool IsBitSetInStringVector(std::string const& Bits, int Bit) noexcept;
/// Writes one bit, filling up a shorter text with '0'. A negative bit changes nothing.
PROPERTY_PLATFORM_EXPORT void SetBitInStringVector(std::string& Bits, int Bit, bool Value);
