// SPDX-License-Identifier: MIT
// What addresses one value of the store: its definition, its record and its device.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// The store's key. Ordered by property number, then record link, then MAC address, so two
/// definition objects with one number address the same entry.
/// Refers to the definition and does not own it. Immutable but for assignment; not synchronised.
class PROPERTY_EXPORT TCPropertyKey {
 public:
  /// `MAC` is a text that TCMACAddress reads: the empty text is no device.
  TCPropertyKey(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                std::string const& MAC);
  TCPropertyKey(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                TCMACAddress const& MAC)
      : m_Number(ID.get_Number()), m_Link(Link), m_MAC(MAC), m_ID(&ID) {}
  TCPropertyKey(TCPropertyKey const&) = default;
  TCPropertyKey& operator=(TCPropertyKey const&) = default;
  virtual ~TCPropertyKey() = default;

  bool operator<(TCPropertyKey const& Right) const {
    if (m_Number != Right.m_Number) {
      return m_Number < Right.m_Number;
    }
    if (m_Link != Right.m_Link) {
      return m_Link < Right.m_Link;
    }
    return m_MAC < Right.m_MAC;
  }

  TCMACAddress const& get_MAC() const { return m_MAC; }
  TCPropertyID const& get_ID() const { return *m_ID; }
  Accessories::TCRecordID const& get_Link() const { return m_Link; }

 private:
  // The definition's; kept here so that a search does not visit every definition, and first, where
  // it shares a line of cache with the map's own pointers.
  int m_Number;
  Accessories::TCRecordID m_Link;
  TCMACAddress m_MAC;
  TCPropertyID const* m_ID;
};

}  // namespace Property
