// SPDX-License-Identifier: MIT
// Lists of the values of a property.
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionDriverList : TDriverFixture {
  void Store(Property::TCPropertyID const& ID, int Link, std::string const& Data,
             std::string const& MAC) {
    Driver()->UpdateProperty(ID, Link != 0 ? TCRecordID(Link) : TCRecordID(), Data, MAC);
  }
};

}  // namespace

TEST_F(TCPropertyCollectionDriverList, HoldsEveryValueOfAPropertyWhoseClassHasATable) {
  Start();
  Store(m_Schema.m_Name, 7, "linked", kOwnMAC);
  Store(m_Schema.m_Name, 0, "theirs", kOtherMAC);
  Store(m_Schema.m_Name, 0, "mine", kOwnMAC);
  Store(m_Schema.m_Name, 0, "nobody's", "");

  EXPECT_THAT(AsLines(Driver()->DoLoadPropertyList(m_Schema.m_Name)),
              ElementsAre("Name[]@=nobody's", "Name[]@00:11:22:33:44:55=mine",
                          "Name[]@00:11:22:33:44:66=theirs", "Name[7]@00:11:22:33:44:55=linked"));
}

TEST_F(TCPropertyCollectionDriverList, HoldsOnlyLinkedValuesOfAPropertyWhoseClassHasNoTable) {
  Start();
  Store(m_Schema.m_PlantName, 0, "unlinked", "");
  Store(m_Schema.m_PlantName, 8, "second", "");
  Store(m_Schema.m_PlantName, 7, "first", "");

  EXPECT_THAT(AsLines(Driver()->DoLoadPropertyList(m_Schema.m_PlantName)),
              ElementsAre("PlantName[7]@=first", "PlantName[8]@=second"));
}

TEST_F(TCPropertyCollectionDriverList, HoldsNoOtherProperty) {
  Start();
  Store(m_Schema.m_Name, 0, "before", kOwnMAC);
  Store(m_Schema.m_Count, 0, "5", kOwnMAC);
  Store(m_Schema.m_Flag, 0, "1", kOwnMAC);

  EXPECT_THAT(AsLines(Driver()->DoLoadPropertyList(m_Schema.m_Count)),
              ElementsAre("Count[]@00:11:22:33:44:55=5"));
}

TEST_F(TCPropertyCollectionDriverList, IsEmptyForAPropertyWithoutValues) {
  Start();
  Store(m_Schema.m_Flag, 0, "1", kOwnMAC);

  EXPECT_THAT(Driver()->DoLoadPropertyList(m_Schema.m_Name), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverList, IsWhatTheStoreAnswers) {
  Start();
  Store(m_Schema.m_Name, 0, "mine", kOwnMAC);

  EXPECT_THAT(AsLines(Driver()->GetProperties(m_Schema.m_Name)),
              ElementsAre("Name[]@00:11:22:33:44:55=mine"));
}

TEST_F(TCPropertyCollectionDriverList, HoldsCopies) {
  Start();
  Store(m_Schema.m_Name, 0, "old", kOwnMAC);
  std::list<TCCommonPropertyObject> const List = Driver()->DoLoadPropertyList(m_Schema.m_Name);

  Store(m_Schema.m_Name, 0, "new", kOwnMAC);

  EXPECT_THAT(AsLines(List), ElementsAre("Name[]@00:11:22:33:44:55=old"));
}

TEST_F(TCPropertyCollectionDriverList, FailsForAPropertyOfNoClass) {
  Start();

  TCException const Exception =
      CaughtException([&] { Driver()->DoLoadPropertyList(m_Schema.m_Loose); });

  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCPropertyContainer");
  EXPECT_EQ(Exception.get_Message(), "Property Container 0 have no TableID relation");
}
