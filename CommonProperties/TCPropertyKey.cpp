// SPDX-License-Identifier: MIT
// The store's key is complete, its property's number included, once it is constructed.
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

TCPropertyKey::TCPropertyKey(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                             std::string const& MAC)
    : m_MAC(MAC), m_ID(&ID), m_Link(Link), m_Number(ID.get_Number()) {}

TCPropertyKey::TCPropertyKey(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                             TCMACAddress const& MAC)
    : m_MAC(MAC), m_ID(&ID), m_Link(Link), m_Number(ID.get_Number()) {}

TCPropertyKey::~TCPropertyKey() = default;

}  // namespace Property
