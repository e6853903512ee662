// SPDX-License-Identifier: MIT
// The store's statics used by static objects that are older than the library's own.
#include <optional>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"
#include "TestNotifier.h"

using Property::TCPropertyCollection;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

unsigned long AnswerSession() {
  return 7;
}

/// What a client may do before main. Built before, and destroyed after, every ordinary static.
struct TEarlyClient {
  TEarlyClient() {
    TCPropertyCollection::SetSessionCallback(&AnswerSession);
    try {
      TCPropertyCollection::SetCurrentSession(7, kOtherMAC);
    } catch (TCException const& Exception) {
      m_Refused = Exception;
    }
    m_Transaction.Begin();
    m_Notifier.Enable();
  }

  std::optional<TCException> m_Refused;
  TCPropertyTransaction m_Transaction;
  TTestNotifier m_Notifier;
};

__attribute__((init_priority(101))) TEarlyClient EarlyClient;

struct TCPropertyCollectionEarly : TStoreFixture {};

}  // namespace

TEST_F(TCPropertyCollectionEarly, RefusesASessionWithoutAStoreAndKeepsItsDevice) {
  ASSERT_TRUE(EarlyClient.m_Refused.has_value());
  ExpectStoreException(*EarlyClient.m_Refused, "m_Instance!=__null",
                       "Property collection has not been created");
  EXPECT_THAT(TTestStore::m_SessionList, ElementsAre(Pair(7, kOtherMAC)));
}

TEST_F(TCPropertyCollectionEarly, KeepsASessionCallback) {
  EXPECT_EQ(TTestStore::m_FPGetCurrentSession, &AnswerSession);
  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), kOtherMAC);
}

TEST_F(TCPropertyCollectionEarly, KeepsAnOpenTransaction) {
  EXPECT_EQ(TCPropertyCollection::InTransaction(), &EarlyClient.m_Transaction);
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  EXPECT_THAT(EarlyClient.m_Transaction.get_Changes(), SizeIs(1));
}

TEST_F(TCPropertyCollectionEarly, KeepsANotifier) {
  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", true, "");

  EXPECT_THAT(EarlyClient.m_Notifier.get_Entries(), SizeIs(1));
}
