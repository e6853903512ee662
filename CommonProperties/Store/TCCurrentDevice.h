// SPDX-License-Identifier: MIT
// The device that is meant where none is named: that of the caller's session, else this one.
#pragma once

#include <map>
#include <string>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCMACAddress.h"

namespace Property {

/// This device's own address, and those of the sessions. The callback that answers the caller's
/// session is the store's and runs in here, with the store's lock held.
///
/// What answers an address throws TCException for the class of a definition that is unknown and for
/// a session that has no device.
class TCCurrentDevice {
 public:
  using TSessions = std::map<unsigned long, std::string>;

  /// With ":" between the bytes.
  std::string& get_OwnText() { return m_OwnText; }
  TSessions& get_Sessions() { return m_Sessions; }

  /// Asks the system for this device's own address.
  void TakeOwn();

  /// Of a definition that is not system-wide.
  std::string const& Text() const PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) {
    return TCPropertyCollection::m_FPGetCurrentSession == nullptr ? m_OwnText : SessionText();
  }
  /// None for a system-wide definition. Without a way over the text of this device's own address.
  TCMACAddress MACFor(TCPropertyID const& ID) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) {
    if (!TCPropertyContainer::IsOrvaneLinked(ID.get_ClassID().get_Value())) {
      return TCMACAddress();
    }
    return TCPropertyCollection::m_FPGetCurrentSession == nullptr ? m_Own
                                                                  : TCMACAddress(SessionText());
  }
  /// The same where `MAC` is empty, else that.
  TCMACAddress MACFor(TCPropertyID const& ID, std::string const& MAC) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) {
    return MAC.empty() ? MACFor(ID) : TCMACAddress(MAC);
  }

 private:
  std::string const& SessionText() const PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);

  std::string m_OwnText;
  TCMACAddress m_Own;
  TSessions m_Sessions;
};

}  // namespace Property
