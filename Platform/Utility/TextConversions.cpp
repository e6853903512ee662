// SPDX-License-Identifier: MIT
// Numbers to text and back, printf into a string, and bits kept as text.
#include "Platform/Utility/TextConversions.h"

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <system_error>
#include <utility>

#include "Platform/Utility/FormatText.h"

namespace {

// Reads the whole of `Text` as a decimal number of type T; leaves `Value` alone when it is none.
template <class T>
bool Parse(std::string const& Text, T& Value) noexcept {
  char const* Begin = Text.data();
  char const* const End = Begin + Text.size();
  // from_chars takes a minus sign but no plus sign, and must not find both.
  if (Begin != End && *Begin == '+' && ++Begin != End && *Begin == '-') {
    return false;
  }
  T Number;
  std::from_chars_result const Result = std::from_chars(Begin, End, Number);
  if (Result.ec != std::errc() || Result.ptr != End) {
    return false;
  }
  Value = Number;
  return true;
}

template <class T>
std::string NullableToString(Accessories::TCNullTypes<T> const& Value) {
  return Value.IsNull() ? std::string() : std::to_string(Value.get_Value());
}

// Whether `Bit` lies inside `Bits`.
bool HasBit(std::string const& Bits, int Bit) noexcept {
  return Bit >= 0 && static_cast<std::size_t>(Bit) < Bits.size();
}

}  // namespace

std::string ToString(int Value) {
  return std::to_string(Value);
}

std::string ToString(unsigned long long Value) {
  return std::to_string(Value);
}

std::string ToString(Accessories::TCNullTypes<int> const& Value) {
  return NullableToString(Value);
}

std::string ToString(Accessories::TCNullTypes<long long> const& Value) {
  return NullableToString(Value);
}

int ToInt(std::string const& Text) noexcept {
  return ToIntDef(Text, 0);
}

int ToIntDef(std::string const& Text, int Default) noexcept {
  int Value = Default;
  Parse(Text, Value);
  return Value;
}

long StringToLong(std::string const& Text, bool& OK) noexcept {
  int Value = 0;
  OK = Parse(Text, Value);
  return Value;
}

long long StringToBigInt(std::string const& Text, bool& OK) noexcept {
  long long Value = 0;
  OK = Parse(Text, Value);
  return Value;
}

double StringToDouble(std::string const& Text, bool& OK) noexcept {
  double Value = 0;
  OK = Parse(Text, Value) && std::isfinite(Value);
  return OK ? Value : 0;
}

std::string& sprintf(std::string& Result, char const* Text, ...) {
  std::va_list Arguments;
  va_start(Arguments, Text);
  std::string Formatted = FormatText(Text, Arguments);
  va_end(Arguments);
  return Result = std::move(Formatted);
}

bool IsBitSetInStringVector(std::string const& Bits, int Bit) noexcept {
  return HasBit(Bits, Bit) && Bits[static_cast<std::size_t>(Bit)] == '1';
}

void SetBitInStringVector(std::string& Bits, int Bit, bool Value) {
  if (Bit < 0) {
    return;
  }
  if (!HasBit(Bits, Bit)) {
    Bits.resize(static_cast<std::size_t>(Bit) + 1, '0');
  }
  Bits[static_cast<std::size_t>(Bit)] = Value ? '1' : '0';
}
