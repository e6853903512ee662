// SPDX-License-Identifier: MIT
// The order in which notifiers hear of changes that overtake each other.
#include "CommonProperties/Store/TCChangeTeller.h"

#include "CommonProperties/KeyOf.h"

namespace Property {

void TCChangeTeller::TCDeletion::HearChange(TCPropertyKey const& Key) {
  m_Overtaken = m_Overtaken || m_Key == Key;
  if (m_Outer != nullptr) {
    m_Outer->HearChange(Key);
  }
}

void TCChangeTeller::Push(std::set<TCCommonPropertyChangeNotifier*> const& Notifiers,
                          TENotificationType Type, TCCommonPropertyObject const& Object) {
  TCStoredValues::TCTelling const Telling(m_Values);
  if (Type == eNotifyChanged && m_Deletion != nullptr) {
    m_Deletion->HearChange(KeyOf(Object));
  }
  for (auto Next = Notifiers.begin(); Next != Notifiers.end();) {
    TCCommonPropertyChangeNotifier* const Notifier = *Next;
    if (Notifier->get_Enabled()) {
      Notifier->Push(Type, Object);
    }
    // Searched for, because the hook may have added and destroyed notifiers.
    Next = Notifiers.upper_bound(Notifier);
  }
}

void TCChangeTeller::HandOverAndTell(TCCommonPropertyObject const& Object,
                                     TCCriticalSectionLock& Lock) {
  TCCommonPropertyObject const Copy(Object);
  m_Values.CountChange();
  unsigned const ChangeCount = m_Store.get_ChangeCount();
  m_Store.OnPropertySet(Copy, Lock);
  Lock.Leave();
  m_Store.Notify(eNotifyChanged, Copy);
  m_Store.TellLaterChange(Copy, ChangeCount);
}

void TCChangeTeller::TellLater(TCCommonPropertyObject const& Told) {
  TellUntilItStands(KeyOf(Told), eNotifyChanged, Told.GetRealValue());
}

void TCChangeTeller::TellChanged(TCPropertyKey const& Key) {
  TCCommonPropertyObject const* const Stored = m_Values.Find(Key);
  if (Stored == nullptr) {
    return;
  }
  unsigned const ChangeCount = m_Store.get_ChangeCount();
  std::string const Text = Stored->GetRealValue();
  m_Store.Notify(eNotifyChanged, *Stored);
  if (m_Store.get_ChangeCount() != ChangeCount) {
    TellUntilItStands(Key, eNotifyChanged, Text);
  }
}

void TCChangeTeller::TellRemoved(TCPropertyKey const& Key) {
  if (m_Values.Find(Key) == nullptr) {
    TellUntilItStands(Key, eNotifyChanged, std::string());
  }
}

// What was told last was `Told`, with `Text`. A value that is neither stored nor kept as removed
// has been cleared away, which is told to nobody.
void TCChangeTeller::TellUntilItStands(TCPropertyKey const& Key, TENotificationType Told,
                                       std::string Text) {
  for (;;) {
    TCCommonPropertyObject const* const Stored = m_Values.Find(Key);
    TCCommonPropertyObject const* const Removed = m_Values.FindRemoved(Key);
    if (Stored != nullptr) {
      if (Told == eNotifyChanged && Stored->GetRealValue() == Text) {
        return;
      }
      Told = eNotifyChanged;
      Text = Stored->GetRealValue();
      m_Store.Notify(Told, *Stored);
    } else if (Told == eNotifyChanged && Removed != nullptr) {
      Told = eNotifyDeleted;
      m_Store.Notify(Told, *Removed);
    } else {
      return;
    }
  }
}

}  // namespace Property
