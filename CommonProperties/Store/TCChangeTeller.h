// SPDX-License-Identifier: MIT
// Tells the notifiers of changes, until the last that they have heard of a value is what is stored.
#pragma once

#include <set>
#include <string>

#include "CommonProperties/Store/TCStoredValues.h"
#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCCriticalSection.h"

namespace Property {

/// Refers to the store, by whose Notify it tells, and to its values; owns neither. Notify calls
/// programs, which may change the store and come back here on the same thread.
class TCChangeTeller {
 public:
  /// A deletion that is being told. Hears whether the value is told as changed meanwhile, by a
  /// hook.
  class TCDeletion {
   public:
    TCDeletion(TCChangeTeller& Teller, TCPropertyKey const& Key)
        PROPERTY_REQUIRES(TCPropertyCollection::m_CSection)
        : m_Teller(Teller), m_Outer(Teller.m_Deletion), m_Key(Key) {
      m_Teller.m_Deletion = this;
    }
    ~TCDeletion() PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) {
      m_Teller.m_Deletion = m_Outer;
    }
    TCDeletion(TCDeletion const&) = delete;
    TCDeletion& operator=(TCDeletion const&) = delete;

    /// Passes it on to the deletions in whose hooks this one was made.
    void HearChange(TCPropertyKey const& Key);
    bool IsOvertaken() const { return m_Overtaken; }

   private:
    TCChangeTeller& m_Teller;
    TCDeletion* const m_Outer;
    TCPropertyKey const& m_Key;
    bool m_Overtaken = false;
  };

  TCChangeTeller(TCPropertyCollection& Store, TCStoredValues& Values)
      : m_Store(Store), m_Values(Values) {}
  TCChangeTeller(TCChangeTeller const&) = delete;
  TCChangeTeller& operator=(TCChangeTeller const&) = delete;

  /// Pushes to every enabled one of `Notifiers`, which may come and go meanwhile.
  void Push(std::set<TCCommonPropertyChangeNotifier*> const& Notifiers, TENotificationType Type,
            TCCommonPropertyObject const& Object)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);

  /// Hands a change of this process over to the store's hook and tells a copy of it, with `Lock`
  /// left meanwhile; then what stands by then, if that is another value.
  void HandOverAndTell(TCCommonPropertyObject const& Object, TCCriticalSectionLock& Lock)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection) PROPERTY_UNCHECKED_LOCKING;
  /// Tells what stands by now, if that is another value than `Told`, which was told as changed. To
  /// be called when changes have been counted since.
  void TellLater(TCCommonPropertyObject const& Told)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);
  /// Tells a value as changed, with its present text, unless it has been removed.
  void TellChanged(TCPropertyKey const& Key) PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);
  /// Tells that a value is about to be removed.
  void TellDeletion(TCCommonPropertyObject const& Stored) {
    m_Store.Notify(eNotifyDeleted, Stored);
  }
  /// Tells that a value was removed, unless it is back.
  void TellRemoved(TCPropertyKey const& Key) PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);

 private:
  void TellUntilItStands(TCPropertyKey const& Key, TENotificationType Told, std::string Text)
      PROPERTY_REQUIRES(TCPropertyCollection::m_CSection);

  TCPropertyCollection& m_Store;
  TCStoredValues& m_Values PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection);
  // The innermost one that is being told.
  TCDeletion* m_Deletion PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection) = nullptr;
};

}  // namespace Property
