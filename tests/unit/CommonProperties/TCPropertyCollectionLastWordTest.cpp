// SPDX-License-Identifier: MIT
// Whatever happens between a change and its notification, what every notifier hears last is what is
// stored.
#include <atomic>
#include <functional>

#include "CommonProperties/TCPropertyCollection.h"
#include "StoreFixture.h"
#include "TestNotifier.h"

using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::eNotifyDeleted;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

struct TCPropertyCollectionLastWord : TStoreFixture {
  TCPropertyCollectionLastWord() { m_Notifier.Enable(); }

  /// Runs once, between the next change and its notification.
  void Meanwhile(std::function<void()> Action) {
    m_Store.m_OnHook = [this, Action](std::string const& Hook) {
      if (Hook == "OnPropertyChanged" && !m_Done) {
        m_Done = true;
        Action();
      }
    };
  }

  /// The server's change of a value, which is told at once.
  void Update(TCPropertyID const& ID, std::string const& Data) {
    m_Store.UpdateProperty(ID, 5, Data, true, "");
  }

  TTestNotifier m_Notifier;
  bool m_Done = false;
};

/// Two notifiers, of which the first acts once when it is told.
struct TCPropertyCollectionHook : TStoreFixture {
  TCPropertyCollectionHook() {
    for (TTestNotifier& Notifier : m_Notifiers) {
      Notifier.Enable();
    }
  }

  void WhenTold(std::function<void()> Action) {
    m_Notifiers[0].m_OnQueued = [this, Action] {
      if (!m_Done) {
        m_Done = true;
        Action();
      }
    };
  }

  TTestNotifier m_Notifiers[2];  // told in the order of their addresses
  bool m_Done = false;
};

}  // namespace

// ---- another thread's change between a change and its notification ----

TEST_F(TCPropertyCollectionLastWord, IsTheLaterChangeOfANewValue) {
  Meanwhile([&] { Update(m_Schema.m_SiteName, "theirs"); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("theirs", eNotifyChanged), Pair("mine", eNotifyChanged),
                          Pair("theirs", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheLaterChangeOfAStoredValue) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  Meanwhile([&] { Update(m_Schema.m_SiteName, "theirs"); });

  m_Store.setProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("theirs", eNotifyChanged), Pair("mine", eNotifyChanged),
                          Pair("theirs", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheLaterChangeOfANumber) {
  Meanwhile([&] { Update(m_Schema.m_SiteName, "7"); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, 6, "");

  EXPECT_THAT(
      m_Notifier.get_Entries(),
      ElementsAre(Pair("7", eNotifyChanged), Pair("6", eNotifyChanged), Pair("7", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheLaterChangeOfAChoice) {
  Meanwhile([&] { Update(m_Schema.m_SiteMode, "2011"); });

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("2011", eNotifyChanged), Pair("2012", eNotifyChanged),
                          Pair("2011", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheLaterChangeOfALoadedValue) {
  Meanwhile([&] { Update(m_Schema.m_SiteName, "theirs"); });

  m_Store.LoadProperty(m_Schema.m_SiteName, "mine", 5, "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("theirs", eNotifyChanged), Pair("mine", eNotifyChanged),
                          Pair("theirs", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsASilentLaterChange) {
  Meanwhile([&] { Store(m_Schema.m_SiteName, 5, "theirs", ""); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("mine", eNotifyChanged), Pair("theirs", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsAWritersOwnLaterChange) {
  Meanwhile([&] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "second", ""); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "first", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("second", eNotifyChanged), Pair("first", eNotifyChanged),
                          Pair("second", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheLaterRemoval) {
  Meanwhile([&] { m_Store.DeleteProperty(m_Schema.m_SiteName, 5, ""); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("mine", eNotifyDeleted), Pair("mine", eNotifyChanged),
                          Pair("mine", eNotifyDeleted)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheChangeItselfWhenOthersAreOfOtherValues) {
  Meanwhile([&] {
    Update(m_Schema.m_PlantName, "another");
    m_Store.UpdateProperty(m_Schema.m_SiteName, 6, "another", true, "");
    m_Store.DeleteProperty(m_Schema.m_SiteName, 6, "");
  });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("another", eNotifyChanged), Pair("another", eNotifyChanged),
                          Pair("another", eNotifyDeleted), Pair("mine", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheChangeItselfWhenItsTextIsBack) {
  Meanwhile([&] {
    Update(m_Schema.m_SiteName, "theirs");
    Update(m_Schema.m_SiteName, "mine");
  });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(),
              ElementsAre(Pair("theirs", eNotifyChanged), Pair("mine", eNotifyChanged),
                          Pair("mine", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsTheChangeItselfWhenTheStoreIsEmptiedWhichTellsNobody) {
  Meanwhile([&] { m_Store.Clear(); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(m_Notifier.get_Entries(), ElementsAre(Pair("mine", eNotifyChanged)));
}

TEST_F(TCPropertyCollectionLastWord, IsToldWithTheLockHeld) {
  Meanwhile([&] { Store(m_Schema.m_SiteName, 5, "theirs", ""); });
  std::vector<bool> Free;
  m_Notifier.m_OnQueued = [&] { Free.push_back(IsStoreFree()); };
  std::vector<bool> FreeInNotify;
  auto const Interrupt = m_Store.m_OnHook;
  m_Store.m_OnHook = [&](std::string const& Hook) {
    Interrupt(Hook);
    if (Hook == "Notify") {
      FreeInNotify.push_back(IsStoreFree());
    }
  };

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  EXPECT_THAT(FreeInNotify, ElementsAre(true, false));
  EXPECT_THAT(Free, ElementsAre(false, false));
  EXPECT_TRUE(IsStoreFree());
}

// ---- hooks that change what is being told ----

TEST_F(TCPropertyCollectionHook, ThatSetsTheValueAgainIsHeardLastByAll) {
  WhenTold([&] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "corrected", ""); });

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "mine", "");

  for (TTestNotifier& Notifier : m_Notifiers) {
    EXPECT_THAT(Notifier.get_Entries().back(), Pair("corrected", eNotifyChanged));
  }
}

TEST_F(TCPropertyCollectionHook, ThatSetsAnUpdatedValueIsHeardLastByAll) {
  WhenTold([&] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "corrected", ""); });

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "theirs", true, "");

  for (TTestNotifier& Notifier : m_Notifiers) {
    EXPECT_THAT(Notifier.get_Entries().back(), Pair("corrected", eNotifyChanged));
  }
}

TEST_F(TCPropertyCollectionHook, ThatRemovesAnUpdatedValueIsHeardLastByAll) {
  WhenTold([&] { m_Store.DeleteProperty(m_Schema.m_SiteName, 5, ""); });

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "theirs", true, "");

  for (TTestNotifier& Notifier : m_Notifiers) {
    EXPECT_THAT(Notifier.get_Entries().back(), Pair("theirs", eNotifyDeleted));
  }
}

TEST_F(TCPropertyCollectionHook, ThatSetsAValueWhichIsRemovedDoesNotKeepIt) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  WhenTold([&] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "again", ""); });

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
  for (TTestNotifier& Notifier : m_Notifiers) {
    EXPECT_THAT(Notifier.get_Entries().back(), Pair("again", eNotifyDeleted));
  }
}

TEST_F(TCPropertyCollectionHook, ThatChangesOtherValuesHearsOfARemovalOnce) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  Store(m_Schema.m_SiteName, 6, "belongs to it", "");
  WhenTold([&] {
    m_Store.DeleteProperty(m_Schema.m_SiteName, 6, "");
    m_Store.SetProperty(m_Schema.m_SiteName, 7, "other", "");
  });

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Notifiers[0].get_Entries(),
              ElementsAre(Pair("old", eNotifyDeleted), Pair("belongs to it", eNotifyDeleted),
                          Pair("other", eNotifyChanged)));
  EXPECT_THAT(m_Notifiers[1].get_Entries(),
              ElementsAre(Pair("belongs to it", eNotifyDeleted), Pair("other", eNotifyChanged),
                          Pair("old", eNotifyDeleted)));
}

TEST_F(TCPropertyCollectionHook, ThatChangesARemovedValueToAndFroDoesNotKeepIt) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  WhenTold([&] {
    m_Store.SetProperty(m_Schema.m_SiteName, 5, "again", "");
    m_Store.SetProperty(m_Schema.m_SiteName, 5, "old", "");
  });

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  for (TTestNotifier& Notifier : m_Notifiers) {
    EXPECT_THAT(Notifier.get_Entries().back(), Pair("old", eNotifyDeleted));
  }
}

TEST_F(TCPropertyCollectionHook, ThatEmptiesTheStoreLeavesTheOthersToldOfAWholeValue) {
  WhenTold([&] { m_Store.Clear(); });

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "theirs, long enough for memory of its own", true,
                         "");

  for (TTestNotifier& Notifier : m_Notifiers) {
    EXPECT_THAT(Notifier.get_Entries(),
                ElementsAre(Pair("theirs, long enough for memory of its own", eNotifyChanged)));
  }
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
}

// ---- many threads ----

TEST_F(TCPropertyCollectionLastWord, IsWhatIsStoredAfterManyThreadsHaveChangedIt) {
  m_Store.m_OnHook = [](std::string const& Hook) {
    if (Hook == "OnPropertyChanged") {
      std::this_thread::yield();
    }
  };
  std::vector<std::thread> Writers;
  for (int Number = 0; Number < 4; ++Number) {
    Writers.emplace_back([this, Number] {
      for (int Round = 0; Round < 300; ++Round) {
        std::string const Text = std::to_string(Number) + " " + std::to_string(Round);
        if (Number % 2 == 0) {
          Update(m_Schema.m_SiteName, Text);
        } else {
          m_Store.SetProperty(m_Schema.m_SiteName, 5, Text, "");
        }
        if (Round % 50 == 0) {
          m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");
        }
      }
    });
  }
  for (std::thread& Writer : Writers) {
    Writer.join();
  }

  EXPECT_THAT(m_Notifier.get_Entries().back(),
              Pair(Stored(m_Schema.m_SiteName, 5, "")->GetRealValue(), eNotifyChanged));
}
