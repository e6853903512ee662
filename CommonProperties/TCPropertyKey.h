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
      : m_ID(&ID), m_Link(Link), m_MAC(MAC) {}
  TCPropertyKey(TCPropertyKey const&) = default;
  TCPropertyKey& operator=(TCPropertyKey const&) = default;
  virtual ~TCPropertyKey() = default;

  bool operator<(TCPropertyKey const& Right) const {
    if (m_ID != Right.m_ID && get_Number() != Right.get_Number()) {
      return get_Number() < Right.get_Number();
    }
    if (m_Link != Right.m_Link) {
      return m_Link < Right.m_Link;
    }
    return m_MAC < Right.m_MAC;
  }
  bool operator==(TCPropertyKey const& Right) const {
    return m_Link == Right.m_Link && m_MAC == Right.m_MAC &&
           (m_ID == Right.m_ID || get_Number() == Right.get_Number());
  }
  bool operator!=(TCPropertyKey const& Right) const { return !(*this == Right); }

  TCMACAddress const& get_MAC() const { return m_MAC; }
  TCPropertyID const& get_ID() const { return *m_ID; }
  Accessories::TCRecordID const& get_Link() const { return m_Link; }

 private:
  int get_Number() const { return m_ID->get_Number(); }

  TCPropertyID const* m_ID;
  Accessories::TCRecordID m_Link;
  TCMACAddress m_MAC;
};

}  // namespace Property
