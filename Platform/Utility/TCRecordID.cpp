// SPDX-License-Identifier: MIT
// The text form of a record's identifier.
#include "Platform/Utility/TCRecordID.h"

#include "Platform/Utility/TextConversions.h"

namespace Accessories {

TCRecordID::TCRecordID(std::string const& Text) noexcept {
  bool OK = false;
  long const ID = StringToLong(Text, OK);
  if (OK) {
    m_ID = ID;
  }
}

std::string TCRecordID::get_AsString() const {
  return IsNull() ? std::string() : ToString(static_cast<int>(m_ID));
}

}  // namespace Accessories
