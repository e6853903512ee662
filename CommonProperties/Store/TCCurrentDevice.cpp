// SPDX-License-Identifier: MIT
// This device's address, and the way from a session to its device.
#include "CommonProperties/Store/TCCurrentDevice.h"

#include "Platform/Utility/TCException.h"

namespace Property {

namespace {

// The store's: it is what programs have called.
char const* const kSource = "../CommonProperties/TCPropertyCollection";

}  // namespace

void TCCurrentDevice::TakeOwn() {
  m_Own = TCMACAddress::Own("");
  m_OwnText = m_Own.get_AsString(':');
}

std::string const& TCCurrentDevice::SessionText() const {
  auto const Entry = m_Sessions.find(TCPropertyCollection::m_FPGetCurrentSession());
  if (Entry == m_Sessions.end()) {
    throw TCException(kSource, __LINE__, "Itr!=m_SessionList.end()")
        .Format("No Mac address saved for current session");
  }
  return Entry->second;
}

}  // namespace Property
