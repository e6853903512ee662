// SPDX-License-Identifier: MIT
// What every test of the store starts from: a schema, an own MAC and a store that is empty.
#pragma once

#include <gmock/gmock.h>

#include <list>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CapturedLog.h"
#include "CaughtException.h"
#include "StoreSchema.h"
#include "TestStore.h"

inline constexpr char const* kOwnMAC = "00:11:22:33:44:55";
inline constexpr char const* kOtherMAC = "00:11:22:33:44:66";
inline constexpr char const* kThirdMAC = "00:11:22:33:44:77";

/// Whether another thread can enter `Section` at once.
inline bool IsFree(TCCriticalSection& Section) {
  bool Entered = false;
  std::thread([&] {
    Entered = Section.Enter(0);
    if (Entered) {
      Section.Leave();
    }
  }).join();
  return Entered;
}

inline bool IsStoreFree() {
  return IsFree(TTestStore::m_CSection);
}

/// Compares all texts of an exception of the store.
inline void ExpectStoreException(TCException const& Exception, std::string const& Condition,
                                 std::string const& Message) {
  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCPropertyCollection");
  EXPECT_EQ(Exception.get_Condition(), Condition);
  EXPECT_EQ(Exception.get_Message(), Message);
}

/// Runs `Action` on another thread and waits for its end.
template <class TAction>
void OnAnotherThread(TAction&& Action) {
  std::thread(std::forward<TAction>(Action)).join();
}

struct TOwnMAC {
  TOwnMAC() { TCMACAddress::SetOwn(TCMACAddress(kOwnMAC)); }
  ~TOwnMAC() { TCMACAddress::SetOwn(TCMACAddress()); }
};

struct TSchemaFixture : ::testing::Test {
  TCapturedLog m_Log;
  TOwnMAC m_OwnMAC;
  TStoreSchema m_Schema;
};

struct TStoreFixture : TSchemaFixture {
  /// Stores a raw text, with nothing called or told.
  Property::TCCommonPropertyObject* Store(Property::TCPropertyID const& ID,
                                          Accessories::TCRecordID const& Link,
                                          std::string const& Data, std::string const& MAC) {
    return m_Store.UpdateProperty(ID, Link, Data, MAC);
  }

  Property::TCCommonPropertyObject const* Stored(Property::TCPropertyID const& ID,
                                                 Accessories::TCRecordID const& Link,
                                                 std::string const& MAC) const {
    auto const Entry = m_Store.m_Properties.find(Property::TCPropertyKey(ID, Link, MAC));
    return Entry != m_Store.m_Properties.end() ? Entry->second : nullptr;
  }

  /// Makes every hook note whether the store's lock is free while it runs.
  void ProbeLockInHooks() {
    m_Store.m_OnHook = [this](std::string const& Hook) { m_LockFree[Hook] = IsStoreFree(); };
  }

  TTestStore m_Store;
  std::map<std::string, bool> m_LockFree;  // by hook
};
