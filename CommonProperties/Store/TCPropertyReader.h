// SPDX-License-Identifier: MIT
// The road of a read: the thread's pending value, else the stored one, else a fetched one.
#pragma once

#include "CommonProperties/Store/TCProcessState.h"
#include "CommonProperties/Store/TCStoredValues.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyKey.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// Refers to the store, whose hook fetches what is missing and whose validators run on what is
/// read, and to its values and the process's transactions; owns none of them.
///
/// The reads leave `Lock` before they call out, which the analysis does not follow into them.
class TCPropertyReader {
 public:
  TCPropertyReader(TCPropertyCollection& Store, TCStoredValues const& Values,
                   TCProcessState const& Process)
      : m_Store(Store), m_Values(Values), m_Process(Process) {}
  TCPropertyReader(TCPropertyReader const&) = delete;
  TCPropertyReader& operator=(TCPropertyReader const&) = delete;

  /// See TCPropertyCollection::GetProperty. Each answer is made where the caller wants it, so that
  /// a read copies its value once; a call of this one would be a seventh of a read.
  [[gnu::always_inline]] TCCommonPropertyObject Read(TCPropertyID const& ID, bool NoException,
                                                     Accessories::TCRecordID const& Link,
                                                     TCMACAddress MAC,
                                                     TCCriticalSectionLock& Lock) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) PROPERTY_UNCHECKED_LOCKING;
  /// See TCPropertyCollection::getProperty.
  void Complete(TCCommonPropertyObject& Object, bool NoException, TCCriticalSectionLock& Lock) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) PROPERTY_UNCHECKED_LOCKING;

  /// Null when there is none. An assigned one stays, so the pointer is good without the lock, too.
  TCPropertyCollection::TValidator const* ValidatorOf(TCPropertyID const& ID) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);

 private:
  static void TraceRead(TCCommonPropertyObject const& Object) {
    if (IsDebugLevel(DEBUG_PROPERTY)) {
      Object.Trace("Get");
    }
  }
  TCCommonPropertyObject ReadStored(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                    TCMACAddress const& MAC, TCCommonPropertyObject const& Stored,
                                    TCCriticalSectionLock& Lock) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) PROPERTY_UNCHECKED_LOCKING;
  TCCommonPropertyObject ReadMissing(TCPropertyID const& ID, bool NoException,
                                     Accessories::TCRecordID const& Link, TCMACAddress const& MAC,
                                     TCCriticalSectionLock& Lock) const
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) PROPERTY_UNCHECKED_LOCKING;
  void FetchMissing(TCCommonPropertyObject& Object, bool NoException) const;

  TCPropertyCollection& m_Store;
  TCStoredValues const& m_Values PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection);
  TCProcessState const& m_Process;
};

inline TCCommonPropertyObject TCPropertyReader::Read(TCPropertyID const& ID, bool NoException,
                                                     Accessories::TCRecordID const& Link,
                                                     TCMACAddress MAC,
                                                     TCCriticalSectionLock& Lock) const {
  if (TCPropertyTransaction const* Transaction = m_Process.m_Transactions.Find()) {
    if (TCCommonPropertyObject* Pending = Transaction->Find(TCPropertyKey(ID, Link, MAC))) {
      Lock.Leave();
      m_Store.Validation(*Pending);
      return TCCommonPropertyObject(*Pending);
    }
  }
  if (MAC.Empty()) {
    MAC = m_Process.m_Device.MACFor(ID);  // a MAC that is no address counts as none
  }
  TCCommonPropertyObject const* const Stored = m_Values.Find(ID, Link, MAC);
  return Stored != nullptr ? ReadStored(ID, Link, MAC, *Stored, Lock)
                           : ReadMissing(ID, NoException, Link, MAC, Lock);
}

inline TCCommonPropertyObject TCPropertyReader::ReadStored(TCPropertyID const& ID,
                                                           Accessories::TCRecordID const& Link,
                                                           TCMACAddress const& MAC,
                                                           TCCommonPropertyObject const& Stored,
                                                           TCCriticalSectionLock& Lock) const {
  TCCommonPropertyObject Object(ID, Link, MAC, Stored);
  TraceRead(Object);
  TCPropertyCollection::TValidator const* const Function = ValidatorOf(ID);
  Lock.Leave();
  if (Function != nullptr) {
    Object.Validate(*Function);
  }
  return Object;
}

inline TCPropertyCollection::TValidator const* TCPropertyReader::ValidatorOf(
    TCPropertyID const& ID) const {
  if (m_Store.m_Validators.empty()) {
    return nullptr;
  }
  auto const Entry = m_Store.m_Validators.find(ID.get_Number());
  return Entry != m_Store.m_Validators.end() ? &Entry->second : nullptr;
}

}  // namespace Property
