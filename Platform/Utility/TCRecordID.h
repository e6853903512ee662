// SPDX-License-Identifier: MIT
// Identifies the record that a property value belongs to.
#pragma once

#include <limits>
#include <string>

#include "Platform/PlatformExport.h"

namespace Accessories {

/// A record's number, or null for "no record". A plain value of eight bytes.
/// Not synchronised.
class PROPERTY_PLATFORM_EXPORT TCRecordID {
 public:
  constexpr TCRecordID() noexcept = default;
  constexpr TCRecordID(int ID) noexcept : m_ID(ID) {}
  /// From decimal text. Text that is empty or no 32-bit number gives null.
  explicit TCRecordID(std::string const& Text) noexcept;

  void SetNull() noexcept { m_ID = kNull; }

  constexpr bool IsNull() const noexcept { return m_ID == kNull; }
  /// 0 when null.
  constexpr int get_AsInteger() const noexcept { return IsNull() ? 0 : static_cast<int>(m_ID); }
  /// Decimal; empty when null.
  std::string get_AsString() const;

  /// Another number for each identifier, null among them.
  constexpr unsigned long long get_Bits() const noexcept {
    return static_cast<unsigned long long>(m_ID);
  }

  /// Null before every number.
  constexpr bool operator<(TCRecordID const& Other) const noexcept { return m_ID < Other.m_ID; }
  constexpr bool operator==(TCRecordID const& Other) const noexcept { return m_ID == Other.m_ID; }
  constexpr bool operator!=(TCRecordID const& Other) const noexcept { return m_ID != Other.m_ID; }

 private:
  // Below every int, so that one comparison orders numbers and null.
  static constexpr long long kNull = std::numeric_limits<long long>::min();

  long long m_ID = kNull;
};

}  // namespace Accessories
