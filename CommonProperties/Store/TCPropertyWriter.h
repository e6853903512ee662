// SPDX-License-Identifier: MIT
// The roads of a value into the store and out of it, and who hears of it on each.
#pragma once

#include <string>

#include "CommonProperties/Store/TCChangeTeller.h"
#include "CommonProperties/Store/TCProcessState.h"
#include "CommonProperties/Store/TCStoredValues.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// Refers to the store's values, its teller and the process's transactions, and owns none of them.
/// What each operation does is said at the store's of the same name. Those with a `Lock` leave it
/// before they call out.
class TCPropertyWriter {
 public:
  TCPropertyWriter(TCStoredValues& Values, TCChangeTeller& Teller, TCProcessState const& Process)
      : m_Values(Values), m_Teller(Teller), m_Process(Process) {}
  TCPropertyWriter(TCPropertyWriter const&) = delete;
  TCPropertyWriter& operator=(TCPropertyWriter const&) = delete;

  TCCommonPropertyObject const& Set(TCPropertyKey const& Key, std::string const& Data,
                                    TCCriticalSectionLock& Lock)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);
  TCCommonPropertyObject const& Set(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                    TCPropertyChoiceID const& Choice, std::string const& MAC,
                                    TCCriticalSectionLock& Lock)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);
  TCCommonPropertyObject* Load(TCPropertyKey const& Key, std::string const& Data,
                               TCCriticalSectionLock& Lock)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);
  void Delete(TCPropertyKey const& Key) PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);

 private:
  TCStoredValues& m_Values PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection);
  TCChangeTeller& m_Teller PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection);
  TCProcessState const& m_Process;
};

}  // namespace Property
