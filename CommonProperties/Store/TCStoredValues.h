// SPDX-License-Identifier: MIT
// The values of the store: those that are found, and those that were removed and may still be
// named.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CommonProperties/Store/TCPropertyIndex.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCNullTypes.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// Owns the removed values. Refers to the map of the stored ones and to the count of their changes,
/// which the store's subclasses see, and owns neither: who empties the map deletes its values.
/// Not synchronised; the count is read without a lock.
class TCStoredValues {
 public:
  using TValues = TCPropertyIndex::TValues;

  /// While it lives, what Clear removes stays in memory: one of those values may be what is being
  /// told.
  class TCTelling {
   public:
    explicit TCTelling(TCStoredValues& Values) : m_Values(Values) { ++m_Values.m_Tellings; }
    ~TCTelling() {
      if (--m_Values.m_Tellings == 0) {
        m_Values.m_Cleared.clear();
      }
    }
    TCTelling(TCTelling const&) = delete;
    TCTelling& operator=(TCTelling const&) = delete;

   private:
    TCStoredValues& m_Values;
  };

  /// For an empty map.
  TCStoredValues(TValues& Values, std::atomic<unsigned>& ChangeCount)
      : m_Values(Values), m_ChangeCount(ChangeCount), m_Index(Values) {}
  TCStoredValues(TCStoredValues const&) = delete;
  TCStoredValues& operator=(TCStoredValues const&) = delete;

  /// Null when the key is missing.
  TCCommonPropertyObject* Find(TCPropertyKey const& Key) const noexcept {
    return m_Index.Find(Key);
  }
  TCCommonPropertyObject* Find(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                               TCMACAddress const& MAC) const noexcept {
    return m_Index.Find(ID, Link, MAC);
  }
  /// What was removed under the key, null for nothing: a value that was cleared away leaves none.
  TCCommonPropertyObject const* FindRemoved(TCPropertyKey const& Key) const;
  /// Copies of the values of a record, of every device and, unless `ClassID` is null, of that class
  /// only; in the order of their keys.
  std::list<TCCommonPropertyObject> FindLinked(Accessories::TCRecordID const& Link,
                                               Accessories::TCNullTypes<int> const& ClassID) const;

  /// Stores `Value` under its own key, which is missing, and answers the stored value: the one that
  /// was removed under the key, if there is one. When memory runs out, nothing is stored.
  TCCommonPropertyObject& Insert(TCCommonPropertyObject&& Value);
  /// Stores the raw text, under a missing key, too. Returns the stored value when its text was new
  /// or it was missing, else null. Passes on what SetRealValue throws; a missing one is not stored.
  TCCommonPropertyObject* Update(TCPropertyKey const& Key, std::string const& Data);
  /// Removes a value and keeps it for who refers to it. Returns whether it was there.
  bool Remove(TCPropertyKey const& Key);
  /// Deletes all values, the removed ones too.
  void Clear();

  /// To be called when a value has changed that is stored.
  // Only who holds the store's lock writes it, so that it takes no more than an addition.
  void CountChange() noexcept {
    m_ChangeCount.store(m_ChangeCount.load(std::memory_order_relaxed) + 1,
                        std::memory_order_release);
  }

 private:
  void KeepUntilTold();

  TValues& m_Values;
  std::atomic<unsigned>& m_ChangeCount;
  TCPropertyIndex m_Index;  // of m_Values
  // Insert uses them again.
  std::multimap<TCPropertyKey, std::unique_ptr<TCCommonPropertyObject>> m_Removed;
  int m_Tellings = 0;
  std::vector<std::unique_ptr<TCCommonPropertyObject>> m_Cleared;  // while there are tellings
};

/// A defined, empty value of the key.
inline TCCommonPropertyObject EmptyValue(TCPropertyKey const& Key) {
  return TCCommonPropertyObject(Key.get_ID(), Key.get_Link(), Key.get_MAC());
}

}  // namespace Property
