// SPDX-License-Identifier: MIT
// What every test of the test server starts from: a schema and a server.
#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyTesting/TCTestServer.h"
#include "tests/unit/CommonProperties/CapturedLog.h"
#include "tests/unit/CommonProperties/StoreSchema.h"

/// Milliseconds, for what does not come.
constexpr int kShort = 50;

/// The texts of the values that it is told of, those that are gone as "-".
class TToldNotifier : public Property::TCCommonPropertyChangeNotifier {
 public:
  ~TToldNotifier() override { Property::TCPropertyCollection::DelNotifier(this); }

  std::vector<std::string> get_Texts() {
    std::lock_guard<std::mutex> const Guard(m_TextsLock);
    return m_Texts;
  }

  /// Runs where a value is told; set before the notifier is enabled.
  std::function<void()> m_OnTold;

 protected:
  bool OnPropQueued() override {
    {
      TCCriticalSectionLock const Lock(m_Lock);
      std::lock_guard<std::mutex> const Guard(m_TextsLock);
      for (auto const& [Object, Type] : m_Queue) {
        m_Texts.push_back(Type == Property::eNotifyDeleted ? "-" : Object.GetRealValue());
      }
      m_Queue.clear();
    }
    if (m_OnTold) {
      m_OnTold();
    }
    return true;
  }

 private:
  std::mutex m_TextsLock;
  std::vector<std::string> m_Texts;  // guarded by m_TextsLock
};

struct TTestServerFixture : ::testing::Test {
  static Property::TCPropertyCollectionDriver& Driver() {
    return *Property::TCPropertyCollectionDriver::get_Instance();
  }

  /// Makes the store; the notifier is told from then on.
  void MakeStore(bool OwnMACOnly = true) {
    Property::TCPropertyCollectionDriver::Create(OwnMACOnly);
    m_Notifier.Enable();
  }

  /// The text of the exception that `Action` ends with.
  template <class TAction>
  static std::string Refusal(TAction Action) {
    try {
      Action();
    } catch (TCException const& Refused) {
      return Refused.get_Message();
    }
    return "done";
  }

  TCapturedLog m_Log;
  TStoreSchema m_Schema;
  Property::Testing::TCTestServer m_Server;
  TToldNotifier m_Notifier;
};
