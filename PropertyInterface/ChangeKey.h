// SPDX-License-Identifier: MIT
// What a value is called among the changes on their way.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// Another text for each value, of 15 bytes at most: such a text takes no memory of its own.
std::string ChangeKey(int Number, Accessories::TCRecordID const& Link, TCMACAddress const& MAC);

/// The place in the store of what `ChangeKey` names. Throws TCException when this program's schema
/// does not have the property.
TCPropertyKey StoreKey(std::string const& ChangeKey);

}  // namespace Property
