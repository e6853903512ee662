// SPDX-License-Identifier: MIT
// What the store's table finds, beside the map that it belongs to.
#include "CommonProperties/Store/TCPropertyIndex.h"

#include <gmock/gmock.h>

#include <list>
#include <random>
#include <string>
#include <vector>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyID.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using Property::TCPropertyIndex;
using Property::TCPropertyKey;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

char const* const kDevice = "00:11:22:33:44:55";
constexpr int kMany = 5000;

struct TCPropertyIndexTest : ::testing::Test {
  TCPropertyKey KeyOf(int Record) const { return TCPropertyKey(m_Field, Record, kDevice); }

  TCCommonPropertyObject* ValueOf(int Record) {
    return &m_Objects[static_cast<std::size_t>(Record)];
  }

  std::vector<TCCommonPropertyObject> MakeObjects() const {
    std::vector<TCCommonPropertyObject> Objects;
    for (int Record = 0; Record < kMany; ++Record) {
      Objects.emplace_back(m_Field, Record, kDevice);
    }
    return Objects;
  }

  void Insert(int Record) { m_Index.Insert(KeyOf(Record), ValueOf(Record)); }

  TCPropertyID& m_Field = *new TCPropertyID("Field", 7, "", TCNullTypes<int>(), 0x10);
  TCPropertyID& m_Other = *new TCPropertyID("Other", -7, "", TCNullTypes<int>(), 0x10);
  std::vector<TCCommonPropertyObject> m_Objects = MakeObjects();
  TCPropertyIndex::TValues m_Values;
  TCPropertyIndex m_Index{m_Values};
};

}  // namespace

TEST_F(TCPropertyIndexTest, FindsNothingAtFirst) {
  EXPECT_EQ(m_Index.Find(KeyOf(1)), nullptr);
}

TEST_F(TCPropertyIndexTest, EntersAValueIntoTheMap) {
  Insert(1);

  ASSERT_THAT(m_Values, SizeIs(1));
  EXPECT_EQ(m_Values.begin()->first, KeyOf(1));
  EXPECT_EQ(m_Values.begin()->second, ValueOf(1));
}

TEST_F(TCPropertyIndexTest, TellsAllPartsOfAKeyApart) {
  std::vector<TCPropertyKey> const Keys = {
      TCPropertyKey(m_Field, 1, kDevice),
      TCPropertyKey(m_Field, 2, kDevice),
      TCPropertyKey(m_Field, -1, kDevice),
      TCPropertyKey(m_Field, 0, kDevice),
      TCPropertyKey(m_Field, TCRecordID(), kDevice),
      TCPropertyKey(m_Field, 1, "00:00:00:00:00:00"),
      TCPropertyKey(m_Field, 1, ""),
      TCPropertyKey(m_Other, 1, kDevice),
  };
  std::list<TCCommonPropertyObject> Objects;
  for (TCPropertyKey const& Key : Keys) {
    EXPECT_EQ(m_Index.Find(Key), nullptr) << Objects.size();
    Objects.emplace_back(Key.get_ID(), Key.get_Link(), Key.get_MAC());
    m_Index.Insert(Key, &Objects.back());
  }

  auto Object = Objects.begin();
  for (TCPropertyKey const& Key : Keys) {
    EXPECT_EQ(m_Index.Find(Key), &*Object++);
  }
}

TEST_F(TCPropertyIndexTest, FindsAValueByAnotherDefinitionWithItsNumber) {
  Insert(1);
  TCPropertyID::m_List->erase(m_Field.get_Number());
  TCPropertyID& Twin =
      *new TCPropertyID("Twin", m_Field.get_Number(), "", TCNullTypes<int>(), 0x20);

  EXPECT_EQ(m_Index.Find(TCPropertyKey(Twin, 1, kDevice)), ValueOf(1));
}

// By its key, whatever the value has been made since. With one seed in 128 both keys have the same
// byte in the table, and the value itself is the answer for the second: hence a seed of its own.
TEST_F(TCPropertyIndexTest, FindsAValueThatHasBecomeThatOfAnotherKey) {
  TCPropertyIndex::TValues Values;
  TCPropertyIndex Index(Values, 1);
  Index.Insert(KeyOf(1), ValueOf(1));
  *ValueOf(1) = TCCommonPropertyObject(m_Other, 9, "");

  EXPECT_EQ(Index.Find(KeyOf(1)), ValueOf(1));
  EXPECT_EQ(Index.Find(TCPropertyKey(m_Other, 9, "")), nullptr);
}

TEST_F(TCPropertyIndexTest, ForgetsWhatIsRemoved) {
  Insert(1);
  Insert(2);

  m_Index.Remove(KeyOf(1));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(m_Index.Find(KeyOf(2)), ValueOf(2));
  EXPECT_THAT(m_Values, SizeIs(1));
}

TEST_F(TCPropertyIndexTest, RemovesNothingForAMissingKey) {
  Insert(1);

  m_Index.Remove(KeyOf(2));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), ValueOf(1));
  EXPECT_THAT(m_Values, SizeIs(1));
}

TEST_F(TCPropertyIndexTest, TakesARemovedKeyAgain) {
  Insert(1);
  m_Index.Remove(KeyOf(1));
  m_Index.Insert(KeyOf(1), ValueOf(2));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), ValueOf(2));
}

TEST_F(TCPropertyIndexTest, EmptiesItselfAndTheMap) {
  for (int Record = 0; Record < kMany; ++Record) {
    Insert(Record);
  }

  m_Index.Clear();

  EXPECT_THAT(m_Values, IsEmpty());
  for (int Record = 0; Record < kMany; ++Record) {
    ASSERT_EQ(m_Index.Find(KeyOf(Record)), nullptr) << Record;
  }
  Insert(3);
  EXPECT_EQ(m_Index.Find(KeyOf(3)), ValueOf(3));
}

// Whatever the seed, and with the table as full as it gets: each key is found exactly while the map
// has it.
TEST_F(TCPropertyIndexTest, AgreesWithTheMapAfterEachOfManyChanges) {
  constexpr int kKeys = 400;
  std::mt19937 Random(1);
  for (std::uint64_t const Seed : {std::uint64_t{0}, ~std::uint64_t{0}, std::uint64_t{12345}}) {
    TCPropertyIndex::TValues Values;
    TCPropertyIndex Index(Values, Seed);
    for (int Change = 0; Change < 40 * kKeys; ++Change) {
      int const Record = static_cast<int>(Random() % kKeys);
      if (Values.count(KeyOf(Record)) != 0) {
        Index.Remove(KeyOf(Record));
        ASSERT_EQ(Values.count(KeyOf(Record)), 0u);
      } else {
        Index.Insert(KeyOf(Record), ValueOf(Record));
        ASSERT_EQ(Values.count(KeyOf(Record)), 1u);
      }
      int const Asked = static_cast<int>(Random() % kKeys);
      auto const Place = Values.find(KeyOf(Asked));
      ASSERT_EQ(Index.Find(KeyOf(Asked)), Place != Values.end() ? Place->second : nullptr);
    }
  }
}

TEST_F(TCPropertyIndexTest, FindsAllOfManyValuesInAnyOrder) {
  for (int Record = kMany - 1; Record >= 0; --Record) {
    Insert(Record);
    ASSERT_EQ(m_Index.Find(KeyOf(Record)), ValueOf(Record));
  }

  for (int Record = 0; Record < kMany; ++Record) {
    ASSERT_EQ(m_Index.Find(KeyOf(Record)), ValueOf(Record)) << Record;
  }
}

// ---- a map that was changed alone ----

TEST_F(TCPropertyIndexTest, FindsWhatWasPutIntoTheMapAlone) {
  Insert(1);
  m_Values.emplace(KeyOf(2), ValueOf(2));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), ValueOf(1));
  EXPECT_EQ(m_Index.Find(KeyOf(2)), ValueOf(2));
  EXPECT_EQ(m_Index.Find(KeyOf(3)), nullptr);
}

TEST_F(TCPropertyIndexTest, MissesWhatWasTakenOutOfTheMapAlone) {
  Insert(1);
  Insert(2);
  m_Values.erase(KeyOf(1));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(m_Index.Find(KeyOf(2)), ValueOf(2));
}

TEST_F(TCPropertyIndexTest, TakesInWhatWasPutIntoTheMapAloneWithTheNextInsertion) {
  m_Values.emplace(KeyOf(2), ValueOf(2));
  Insert(1);
  m_Values.erase(KeyOf(1));
  Insert(3);

  EXPECT_EQ(m_Index.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(m_Index.Find(KeyOf(2)), ValueOf(2));
  EXPECT_EQ(m_Index.Find(KeyOf(3)), ValueOf(3));
}

TEST_F(TCPropertyIndexTest, RemovesAKeyThatGotAnotherValueInTheMapAlone) {
  Insert(1);
  Insert(2);
  m_Values[KeyOf(1)] = ValueOf(3);

  m_Index.Remove(KeyOf(1));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(m_Index.Find(KeyOf(2)), ValueOf(2));
}

// As many in the map as in the table, but not the same.
TEST_F(TCPropertyIndexTest, StaysRightWhenOneIsRemovedForOneThatWasPutIntoTheMapAlone) {
  Insert(1);
  m_Values.emplace(KeyOf(2), ValueOf(2));

  m_Index.Remove(KeyOf(1));

  EXPECT_EQ(m_Index.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(m_Index.Find(KeyOf(2)), ValueOf(2));
}
