// SPDX-License-Identifier: MIT
// What a read does that does not find its value, and the completing of a value at hand.
#include "CommonProperties/Store/TCPropertyReader.h"

#include <string>

#include "CommonProperties/KeyOf.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace Property {

namespace {

// The store's: it is what programs have called.
char const* const kSource = "../CommonProperties/TCPropertyCollection";

}  // namespace

TCCommonPropertyObject TCPropertyReader::ReadMissing(TCPropertyID const& ID, bool NoException,
                                                     Accessories::TCRecordID const& Link,
                                                     TCMACAddress const& MAC,
                                                     TCCriticalSectionLock& Lock) const {
  Lock.Leave();
  TCCommonPropertyObject Object(ID, Link, MAC);
  FetchMissing(Object, NoException);
  m_Store.Validation(Object);
  return Object;
}

void TCPropertyReader::Complete(TCCommonPropertyObject& Object, bool NoException,
                                TCCriticalSectionLock& Lock) const {
  if (Object.m_MAC.Empty()) {
    Object.m_MAC = m_Process.m_Device.MACFor(Object.get_ID());
  }
  TCCommonPropertyObject const* const Stored = m_Values.Find(KeyOf(Object));
  if (Stored == nullptr) {
    Lock.Leave();
    FetchMissing(Object, NoException);
    return;
  }
  Object.m_Data = Stored->m_Data;
  Object.m_Defined = true;
  Object.m_Loaded = Stored->m_Loaded;
  TraceRead(Object);
}

void TCPropertyReader::FetchMissing(TCCommonPropertyObject& Object, bool NoException) const {
  if (m_Store.OnFetchProperty(Object)) {
    Object.Trace("Created");
    return;
  }
  Object.m_Defined = false;
  Object.Trace("Get Failed");
  std::string const Name = Object.get_ID().Viewname(false);
  SyslogWarning("Timeout. Cannot fetch property %s", Name.c_str());
  if (!NoException) {
    throw TCException(kSource, __LINE__).Format("Unable to load Property %s", Name.c_str());
  }
}

}  // namespace Property
