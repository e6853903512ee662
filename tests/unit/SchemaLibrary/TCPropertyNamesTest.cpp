// SPDX-License-Identifier: MIT
// What texts mean which property, and what is said of those that mean none.
#include "SchemaLibrary/TCPropertyNames.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/SchemaLibrary/TextSchema.h"

namespace {

using Property::TCBasicPropertyID;
using Property::TCPropertyID;
using Property::TCPropertyNames;
using Property::TSNamedProperty;
using Property::TSPropertyNode;

/// Device/Display/{Brightness, Contrast}, Device/Network/{HostName, Address}, Modem/Sim/{Name,
/// Pin}, User/Account/{Name, Role}.
class TCPropertyNamesTest : public ::testing::Test {
 protected:
  TCPropertyNamesTest() {
    auto const& Device = AddContainer("Device", 100);
    auto const& User = AddContainer("User", 300, 5);
    auto const& Modem = AddContainer("Modem", 200, 9);
    AddGroup("Network", 120, Device);
    AddGroup("Display", 110, Device);
    AddGroup("Sim", 210, Modem);
    AddGroup("Account", 310, User);
    AddField("Brightness", 111, 110, kInteger);
    AddField("Contrast", 112, 110, kInteger);
    AddField("HostName", 122, 120, kText);
    AddField("Address", 121, 120, kText);
    AddField("Name", 211, 210, kText);
    AddField("Pin", 212, 210, kText);
    AddField("Name", 311, 310, kText);
    auto& Role = AddField("Role", 312, 310, kInteger);
    AddChoice("Viewer", "Viewer", 3121, true, Role, "viewer");
  }

  static TSNamedProperty Named(std::string const& Typed) {
    TCBasicPropertyID::Initialize();
    return TCPropertyNames().Resolve(Typed);
  }
  /// The path of what `Typed` means, with its record, or the error.
  static std::string Meant(std::string const& Typed) {
    TCBasicPropertyID::Initialize();
    TCPropertyNames const Names;
    TSNamedProperty const Result = Names.Resolve(Typed);
    if (Result.Field == nullptr) {
      return Result.Error;
    }
    return Names.Path(*Result.Field) +
           (Result.HasLink ? " of " + Result.Link.get_AsString() : std::string());
  }
};

TEST_F(TCPropertyNamesTest, FindsAFieldByItsNumber) {
  EXPECT_EQ(Meant("111"), "Device/Display/Brightness");
}

TEST_F(TCPropertyNamesTest, FindsAFieldByItsPath) {
  EXPECT_EQ(Meant("Device/Display/Brightness"), "Device/Display/Brightness");
}

TEST_F(TCPropertyNamesTest, FindsAFieldByTheEndOfItsPath) {
  EXPECT_EQ(Meant("Display/Brightness"), "Device/Display/Brightness");
  EXPECT_EQ(Meant("HostName"), "Device/Network/HostName");
}

TEST_F(TCPropertyNamesTest, FindsAFieldByTheBeginningsOfItsParts) {
  EXPECT_EQ(Meant("Bri"), "Device/Display/Brightness");
  EXPECT_EQ(Meant("Dev/Net/Ho"), "Device/Network/HostName");
  EXPECT_EQ(Meant("S/Na"), "Modem/Sim/Name");
}

TEST_F(TCPropertyNamesTest, FindsAFieldWhateverItsCapitals) {
  EXPECT_EQ(Meant("brightness"), "Device/Display/Brightness");
  EXPECT_EQ(Meant("device/NETWORK/host"), "Device/Network/HostName");
}

TEST_F(TCPropertyNamesTest, TakesTheWholeNameBeforeALongerOne) {
  AddField("Bright", 113, 110, kInteger);
  EXPECT_EQ(Meant("Bright"), "Device/Display/Bright");
}

TEST_F(TCPropertyNamesTest, TakesTheOneWithTheSameCapitals) {
  AddField("contrast", 114, 110, kInteger);
  EXPECT_EQ(Meant("contrast"), "Device/Display/contrast");
  EXPECT_EQ(Meant("Contrast"), "Device/Display/Contrast");
}

TEST_F(TCPropertyNamesTest, ListsTheCandidatesOfAnAmbiguousName) {
  EXPECT_EQ(Meant("Name"), "'Name' is ambiguous: Modem/Sim/Name, User/Account/Name");
  EXPECT_EQ(Meant("Modem/S/Name"), "Modem/Sim/Name");
}

TEST_F(TCPropertyNamesTest, ListsOnlySomeOfManyCandidates) {
  for (int Number = 1000; Number < 1020; ++Number) {
    AddField("Many" + std::to_string(Number), Number, 120, kText);
  }
  std::string const Error = Meant("Many");
  EXPECT_EQ(Error.substr(0, 46), "'Many' is ambiguous: Device/Network/Many1000, ");
  EXPECT_EQ(Error.substr(Error.size() - 12), " and 12 more");
}

TEST_F(TCPropertyNamesTest, AsksForTheNumberOfFieldsWithTheSamePath) {
  AddField("Contrast", 115, 110, kInteger);
  EXPECT_EQ(Meant("Contrast"),
            "several properties are called 'Contrast'; name one by its number: 112 or 115");
}

TEST_F(TCPropertyNamesTest, SuggestsWhatWasMeant) {
  EXPECT_EQ(Meant("Brighness"), "no property 'Brighness'; did you mean Device/Display/Brightness?");
  EXPECT_EQ(Meant("Dispaly/Brightness"),
            "no property 'Dispaly/Brightness'; did you mean Device/Display/Brightness?");
  EXPECT_EQ(Meant("Panel/Kontrast"),
            "no property 'Panel/Kontrast'; did you mean Device/Display/Contrast?");
  EXPECT_EQ(Meant("nmae"), "no property 'nmae'; did you mean Modem/Sim/Name or User/Account/Name?");
}

TEST_F(TCPropertyNamesTest, SuggestsNothingThatIsFarAway) {
  EXPECT_EQ(Meant("Temperature"), "no property 'Temperature'");
}

TEST_F(TCPropertyNamesTest, SaysOfWhatNothingIsKnown) {
  for (std::string const Typed : {"Temperature", "99", "99999999999", ""}) {
    EXPECT_TRUE(Named(Typed).IsUnknown) << Typed;
  }
  for (std::string const Typed : {"Brightness", "Brighness", "111", "100", "Device", "Pin[x]"}) {
    EXPECT_FALSE(Named(Typed).IsUnknown) << Typed;
  }
}

TEST_F(TCPropertyNamesTest, FindsTheRecord) {
  EXPECT_EQ(Meant("Pin[2]"), "Modem/Sim/Pin of 2");
  EXPECT_EQ(Meant("212[-3]"), "Modem/Sim/Pin of -3");
}

TEST_F(TCPropertyNamesTest, RefusesARecordThatIsNoNumber) {
  for (std::string const Record : {"[]", "[x]", "[99999999999]", "[1 ]"}) {
    EXPECT_EQ(Meant("Pin" + Record),
              "'Pin" + Record + "' names no record: a number has to stand in the brackets");
  }
}

TEST_F(TCPropertyNamesTest, SaysWhatIsNoPropertyButAGroup) {
  EXPECT_EQ(Meant("Device/Network"),
            "'Device/Network' is no property but a group with Device/Network/HostName, "
            "Device/Network/Address");
  EXPECT_EQ(Meant("100"), "100 is no property but the container Device");
  EXPECT_EQ(Meant("3121"), "3121 is no property but the choice Viewer");
}

TEST_F(TCPropertyNamesTest, KnowsNoPropertyByANumberThatNoneHas) {
  EXPECT_EQ(Meant("99"), "no property has the number 99");
  EXPECT_EQ(Meant("0"), "no property has the number 0");
  EXPECT_EQ(Meant("99999999999"), "no property '99999999999'");
}

TEST_F(TCPropertyNamesTest, ShowsHostileTextsHarmlessly) {
  EXPECT_EQ(Meant("\x1b[31mName\n"), "no property '\\x1b[31mName\\n'");
  EXPECT_EQ(Meant(""), "no property ''");
  EXPECT_EQ(Meant("/"), "no property '/'");
  EXPECT_EQ(Meant("[1]"), "no property ''");
}

TEST_F(TCPropertyNamesTest, ShowsOnlyTheBeginningOfALongText) {
  EXPECT_EQ(Meant(std::string(1000000, 'x')), "no property '" + std::string(256, 'x') + "...'");
  EXPECT_EQ(Meant(std::string(1000000, '/')), "no property '" + std::string(256, '/') + "...'");
}

TEST_F(TCPropertyNamesTest, ShowsHostileNamesOfTheSchemaHarmlessly) {
  AddField("Evil\x1b[2J", 116, 110, kText);
  EXPECT_EQ(Meant("Evil\x1b[3J"),
            "no property 'Evil\\x1b[3J'; did you mean Device/Display/Evil\\x1b[2J?");
}

TEST_F(TCPropertyNamesTest, HasTheFieldsInTheOrderOfTheTree) {
  TCBasicPropertyID::Initialize();
  TCPropertyNames const Names;
  std::vector<int> Numbers;
  for (TCPropertyID const* Field : Names.get_Fields()) {
    Numbers.push_back(Field->get_Number());
  }
  EXPECT_EQ(Numbers, (std::vector<int>{122, 121, 111, 112, 211, 212, 311, 312}));
}

TEST_F(TCPropertyNamesTest, HasTheNodesWithTheirDepth) {
  TCBasicPropertyID::Initialize();
  TCPropertyNames const Names;
  std::vector<std::string> Lines;
  for (TSPropertyNode const& Place : Names.get_Nodes()) {
    Lines.push_back(std::string(static_cast<std::size_t>(Place.Depth), ' ') +
                    Place.Node->get_Name());
  }
  Lines.resize(7);
  EXPECT_EQ(Lines, (std::vector<std::string>{"Device", " Network", "  HostName", "  Address",
                                             " Display", "  Brightness", "  Contrast"}));
}

TEST_F(TCPropertyNamesTest, HasWhatHasNoParentAtTheTop) {
  AddField("Stray", 50, 4711, kText);
  EXPECT_EQ(Meant("Stray"), "Stray");
}

TEST_F(TCPropertyNamesTest, SurvivesParentsThatFormARing) {
  AddField("Hen", 61, 62, kText);
  AddField("Egg", 62, 61, kText);
  EXPECT_EQ(Meant("Hen"), "Hen");
  EXPECT_EQ(Meant("Egg"), "Hen/Egg");
}

}  // namespace
