// SPDX-License-Identifier: MIT
// The store's key from a device's text.
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

TCPropertyKey::TCPropertyKey(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                             std::string const& MAC)
    : TCPropertyKey(ID, Link, TCMACAddress(MAC)) {}

}  // namespace Property
