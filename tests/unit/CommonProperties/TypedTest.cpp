// SPDX-License-Identifier: MIT
// Handles of one value: what they read and set, what does not compile, and what they refuse.
#include "CommonProperties/Typed.h"

#include <memory>
#include <string_view>

#include "CommonProperties/TCPropertyDBLookup.h"
#include "StoreFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyEvents;
using Property::TCPropertyTransaction;
using Property::Typed;
using ::testing::ElementsAre;

namespace {

enum class TEMode { eOff, eOn };
enum class TESiteMode { eLow, eHigh };
enum class TETooMany { eOff, eOn, eDimmed };
enum class TETooFew { eOff };

}  // namespace

template <>
struct Property::TSChoicesOf<TEMode> {
  static constexpr std::pair<TEMode, int> kNumbers[] = {{TEMode::eOff, 1011}, {TEMode::eOn, 1012}};
};
template <>
struct Property::TSChoicesOf<TESiteMode> {
  static constexpr std::pair<TESiteMode, int> kNumbers[] = {{TESiteMode::eLow, 2011},
                                                            {TESiteMode::eHigh, 2012}};
};
template <>
struct Property::TSChoicesOf<TETooMany> {
  static constexpr std::pair<TETooMany, int> kNumbers[] = {
      {TETooMany::eOff, 1011}, {TETooMany::eOn, 1012}, {TETooMany::eDimmed, 1013}};
};
template <>
struct Property::TSChoicesOf<TETooFew> {
  static constexpr std::pair<TETooFew, int> kNumbers[] = {{TETooFew::eOff, 1011}};
};

namespace {

template <class T, class TValue, class = void>
constexpr bool kCanSet = false;
template <class T, class TValue>
constexpr bool kCanSet<
    T, TValue, std::void_t<decltype(std::declval<Typed<T> const&>().Set(std::declval<TValue>()))>> =
    true;

// What compiles.
static_assert(kCanSet<int, int>);
static_assert(kCanSet<bool, bool>);
static_assert(kCanSet<std::string, std::string> && kCanSet<std::string, char const*> &&
              kCanSet<std::string, char const (&)[4]>);
static_assert(kCanSet<TEMode, TEMode>);
// What does not.
static_assert(!kCanSet<int, char const*> && !kCanSet<int, std::string> && !kCanSet<int, bool> &&
              !kCanSet<int, double> && !kCanSet<int, long long> && !kCanSet<int, TEMode>);
static_assert(!kCanSet<bool, int> && !kCanSet<bool, char const*>);
static_assert(!kCanSet<std::string, int> && !kCanSet<std::string, bool> &&
              !kCanSet<std::string, char> && !kCanSet<std::string, std::nullptr_t> &&
              !kCanSet<std::string, std::string_view>);
static_assert(!kCanSet<TEMode, int> && !kCanSet<TEMode, TESiteMode>);
static_assert(Property::kIsTyped<int> && Property::kIsTyped<bool> &&
              Property::kIsTyped<std::string> && Property::kIsTyped<TEMode>);
static_assert(!Property::kIsTyped<double> && !Property::kIsTyped<long long> &&
              !Property::kIsTyped<char const*> && !Property::kIsTyped<testing::Test>);
// A handle of a field is said, never made along the way.
static_assert(!std::is_convertible_v<Property::TCPropertyID const&, Typed<int>>);

/// Fields with a default, which are there before the store is.
struct TDefaultFields {
  Property::TCPropertyID& m_Level = *new Property::TCPropertyID("Level", 1101, "", 1000, 0x10, 5);
  Property::TCPropertyID& m_Title =
      *new Property::TCPropertyID("Title", 1102, "", 1000, 0x20, "untitled");
  Property::TCPropertyID& m_Active =
      *new Property::TCPropertyID("Active", 1103, "", 1000, 0x08, true);
};

struct TypedTest : TDefaultFields, TStoreFixture {
  template <class T>
  static std::string Refusal(Property::TCPropertyID const& ID) {
    TCException const Exception = CaughtException([&ID] { Typed<T> const Handle(ID); });
    EXPECT_EQ(Exception.get_Source(), "../CommonProperties/Typed");
    return Exception.get_Message();
  }

  std::string StoredText(Property::TCPropertyID const& ID, TCRecordID const& Link = TCRecordID(),
                         std::string const& MAC = kOwnMAC) {
    TCCommonPropertyObject const* const Value = Stored(ID, Link, MAC);
    return Value != nullptr ? Value->GetRealValue() : "nothing";
  }
};

}  // namespace

// ---- get and set ----

TEST_F(TypedTest, GetsAndSetsAnInteger) {
  Typed<int> const Count(m_Schema.m_Count);
  Count.Set(-7);
  EXPECT_EQ(StoredText(m_Schema.m_Count), "-7");
  EXPECT_EQ(Count.Get(), -7);
}

TEST_F(TypedTest, GetsAndSetsABoolean) {
  Typed<bool> const Flag(m_Schema.m_Flag);
  Flag.Set(true);
  EXPECT_EQ(StoredText(m_Schema.m_Flag), "1");
  EXPECT_TRUE(Flag.Get());
  Flag.Set(false);
  EXPECT_EQ(StoredText(m_Schema.m_Flag), "0");
  EXPECT_FALSE(Flag.Get());
}

TEST_F(TypedTest, GetsAndSetsAText) {
  Typed<std::string> const Name(m_Schema.m_Name);
  Name.Set("literal");
  EXPECT_EQ(Name.Get(), "literal");
  Name.Set(std::string("a\0b", 3));
  EXPECT_EQ(Name.Get(), std::string("a\0b", 3));
}

TEST_F(TypedTest, GetsAndSetsALookup) {
  auto& Zone = *new Property::TCPropertyDBLookup("Zone", 1104, "", 2000, 0x20, 1, "", false);
  Typed<std::string> const Handle(Zone);
  Handle.Set("UTC");
  EXPECT_EQ(Handle.Get(), "UTC");
}

TEST_F(TypedTest, GetsAndSetsAChoice) {
  Typed<TEMode> const Mode(m_Schema.m_Mode);
  Mode.Set(TEMode::eOff);
  EXPECT_EQ(StoredText(m_Schema.m_Mode), "1011");
  EXPECT_EQ(Mode.Get(), TEMode::eOff);
  Mode.Set(TEMode::eOn);
  EXPECT_EQ(Mode.Get(), TEMode::eOn);
}

TEST_F(TypedTest, ThrowsForANullText) {
  Typed<std::string> const Name(m_Schema.m_Name);
  char const* const Null = nullptr;
  EXPECT_THROW(Name.Set(Null), std::logic_error);
  EXPECT_EQ(StoredText(m_Schema.m_Name), "nothing");
}

TEST_F(TypedTest, PassesOnWhatTheStoreThrows) {
  Typed<int> const Other(m_Schema.m_Count, TCRecordID(), kOtherMAC);
  EXPECT_EQ(CaughtException([&Other] { Other.Get(); }).get_Message(),
            "Unable to load Property Count(1002) Integer Field");
}

TEST_F(TypedTest, TellsASetAsTheFunctionDoes) {
  Typed<int> const Count(m_Schema.m_Count);
  Count.Set(7);
  Count.Set(7);
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

// ---- records and devices ----

TEST_F(TypedTest, IsOfOneRecordAndDevice) {
  Typed<int> const Count(m_Schema.m_Count);
  Count.OfRecord(TCRecordID(7)).Set(1);
  Count.OfDevice(kOtherMAC).Set(2);
  Count.OfRecord(TCRecordID(7)).OfDevice(kOtherMAC).Set(3);
  EXPECT_EQ(StoredText(m_Schema.m_Count), "nothing");
  EXPECT_EQ(StoredText(m_Schema.m_Count, TCRecordID(7)), "1");
  EXPECT_EQ(StoredText(m_Schema.m_Count, TCRecordID(), kOtherMAC), "2");
  EXPECT_EQ(StoredText(m_Schema.m_Count, TCRecordID(7), kOtherMAC), "3");
  EXPECT_EQ(Typed<int>(m_Schema.m_Count, TCRecordID(7), kOtherMAC).Get(), 3);
}

TEST_F(TypedTest, NamesItsPlace) {
  Typed<int> const Count(m_Schema.m_Count, TCRecordID(7), kOtherMAC);
  EXPECT_EQ(&Count.get_ID(), &m_Schema.m_Count);
  EXPECT_EQ(Count.get_Link(), TCRecordID(7));
  EXPECT_EQ(Count.get_MAC(), kOtherMAC);
}

TEST_F(TypedTest, SetsAChoiceOfAnotherDeviceThere) {
  Typed<TEMode> const Mode(m_Schema.m_Mode, TCRecordID(7), kOtherMAC);
  Mode.Set(TEMode::eOff);
  EXPECT_EQ(StoredText(m_Schema.m_Mode, TCRecordID(7), kOtherMAC), "1011");
  EXPECT_EQ(StoredText(m_Schema.m_Mode, TCRecordID(7), kOwnMAC), "nothing");
  EXPECT_EQ(Mode.Get(), TEMode::eOff);
}

TEST_F(TypedTest, SetsASystemWideChoice) {
  Typed<TESiteMode> const Mode(m_Schema.m_SiteMode);
  Mode.Set(TESiteMode::eHigh);
  EXPECT_EQ(StoredText(m_Schema.m_SiteMode, TCRecordID(), ""), "2012");
}

// ---- transactions ----

TEST_F(TypedTest, TakesPartInATransaction) {
  Typed<int> const Count(m_Schema.m_Count);
  Typed<TEMode> const Mode(m_Schema.m_Mode);
  Typed<TEMode> const Other = Mode.OfDevice(kOtherMAC);
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  Count.Set(7);
  Mode.Set(TEMode::eOff);
  Other.Set(TEMode::eOff);
  EXPECT_EQ(Count.Get(), 7);
  EXPECT_EQ(Mode.Get(), TEMode::eOff);
  EXPECT_EQ(Other.Get(), TEMode::eOff);
  EXPECT_EQ(StoredText(m_Schema.m_Count), "nothing");
  EXPECT_EQ(StoredText(m_Schema.m_Mode), "nothing");
  EXPECT_EQ(Transaction.get_Changes().size(), 3U);
}

// ---- choices without a reference ----

namespace {

struct TypedWithoutReferences : TSchemaFixture {
  Property::TCPropertyID& m_Speed = *new Property::TCPropertyID("Speed", 1200, "", 1000, 0x10);
  Property::TCPropertyChoice& m_Slow =
      *new Property::TCPropertyChoice("Slow", "", 1201, true, &m_Speed, "slow");
  Property::TCPropertyChoice& m_Fast =
      *new Property::TCPropertyChoice("Fast", "", 1202, false, &m_Speed, "fast");
  Property::TCPropertyChoice& m_Fastest =
      *new Property::TCPropertyChoice("Fastest", "", 1203, false, &m_Speed, "fast");
  TTestStore m_Store;
};

enum class TESpeed { eSlow, eFast, eFastest };

}  // namespace

template <>
struct Property::TSChoicesOf<TESpeed> {
  static constexpr std::pair<TESpeed, int> kNumbers[] = {
      {TESpeed::eSlow, 1201}, {TESpeed::eFast, 1202}, {TESpeed::eFastest, 1203}};
};

TEST_F(TypedWithoutReferences, SetsAChoiceByItsValueText) {
  Typed<TESpeed> const Speed(m_Speed);
  Speed.Set(TESpeed::eFast);
  EXPECT_EQ(GetProperty(m_Speed).GetRealValue(), "1202");
  EXPECT_EQ(Speed.Get(), TESpeed::eFast);
}

TEST_F(TypedWithoutReferences, SetsAChoiceByItsNumberInATransaction) {
  Typed<TESpeed> const Speed(m_Speed);
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  Speed.Set(TESpeed::eFastest);
  EXPECT_EQ(Speed.Get(), TESpeed::eFastest);
  EXPECT_NE(Transaction.Find(m_Speed, TCRecordID(), kOwnMAC), nullptr);
}

TEST_F(TypedWithoutReferences, RefusesAChoiceThatSharesItsValueText) {
  Typed<TESpeed> const Speed(m_Speed);
  Speed.Set(TESpeed::eFast);
  EXPECT_EQ(
      CaughtException([&Speed] { Speed.Set(TESpeed::eFastest); }).get_Message(),
      "Choice 1203 of property Speed(1200) Choice Field can not be set: another choice has its "
      "value text [fast]");
  EXPECT_EQ(Speed.Get(), TESpeed::eFast);
}

// ---- defaults ----

TEST_F(TypedTest, ReadsTheSchemasDefault) {
  EXPECT_EQ(Typed<int>(m_Level).GetDefault(), 5);
  EXPECT_EQ(Typed<std::string>(m_Title).GetDefault(), "untitled");
  EXPECT_TRUE(Typed<bool>(m_Active).GetDefault());
  EXPECT_EQ(Typed<TEMode>(m_Schema.m_Mode).GetDefault(), TEMode::eOn);
}

TEST_F(TypedTest, ReadsAMissingDefaultAsTheFunctionsDo) {
  EXPECT_EQ(Typed<int>(m_Schema.m_Count).GetDefault(), 0);
  EXPECT_EQ(Typed<std::string>(m_Schema.m_Name).GetDefault(), "");
  EXPECT_TRUE(Typed<bool>(m_Schema.m_Flag).GetDefault());
}

TEST_F(TypedTest, KnowsWhetherItIsTheDefault) {
  Typed<int> const Level(m_Level);
  Level.Set(6);
  EXPECT_FALSE(Level.IsDefault());
  Level.SetToDefault();
  EXPECT_TRUE(Level.IsDefault());
  EXPECT_EQ(StoredText(m_Level), "5");
}

TEST_F(TypedTest, KnowsWhetherAChoiceIsTheDefault) {
  Typed<TEMode> const Mode(m_Schema.m_Mode);
  Mode.Set(TEMode::eOff);
  EXPECT_FALSE(Mode.IsDefault());
  Mode.SetToDefault();
  EXPECT_TRUE(Mode.IsDefault());
}

// ---- changes ----

TEST_F(TypedTest, TellsItsChangesWithTheirType) {
  std::vector<std::string> Told;
  TCPropertyEvents Events;
  auto const Level = Typed<int>(m_Level).OnChange(
      Events, [&Told](int Value) { Told.push_back("level " + std::to_string(Value)); });
  auto const Mode = Typed<TEMode>(m_Schema.m_Mode).OnChange(Events, [&Told](TEMode Value) {
    Told.push_back(Value == TEMode::eOff ? "off" : "on");
  });
  auto const Title = Typed<std::string>(m_Title, TCRecordID(7))
                         .OnChange(Events, [&Told](std::string const& Value) {
                           Told.push_back("title " + Value);
                         });
  Typed<int>(m_Level).Set(6);
  Typed<TEMode>(m_Schema.m_Mode).Set(TEMode::eOff);
  Typed<std::string>(m_Title).Set("of no record");
  Typed<std::string>(m_Title, TCRecordID(7)).Set("of record 7");
  Events.Dispatch();
  EXPECT_THAT(Told, ElementsAre("level 6", "off", "title of record 7"));
}

TEST_F(TypedTest, TellsTheDefaultOfAValueThatIsGone) {
  std::vector<int> Told;
  TCPropertyEvents Events;
  auto const Level =
      Typed<int>(m_Level).OnChange(Events, [&Told](int Value) { Told.push_back(Value); });
  Typed<int>(m_Level).Set(6);
  Events.Dispatch();
  m_Store.DeleteProperty(m_Level, TCRecordID(), "");
  Events.Dispatch();
  EXPECT_THAT(Told, ElementsAre(6, 5));
}

// ---- what a handle refuses ----

TEST_F(TypedTest, IsNotMadeForAFieldOfAnotherType) {
  EXPECT_EQ(Refusal<int>(m_Schema.m_Name),
            "Property Name(1001) String Field is not an integer field");
  EXPECT_EQ(Refusal<int>(m_Schema.m_Mode),
            "Property Mode(1010) Choice Field is not an integer field");
  EXPECT_EQ(Refusal<bool>(m_Schema.m_Count),
            "Property Count(1002) Integer Field is not a boolean field");
  EXPECT_EQ(Refusal<std::string>(m_Schema.m_Flag),
            "Property Flag(1003) Boolean Field is not a string or lookup field");
  EXPECT_EQ(Refusal<TEMode>(m_Schema.m_Count),
            "Property Count(1002) Integer Field is not a choice field");
}

TEST_F(TypedTest, IsNotMadeForAnEnumerationWithAValueThatIsNoChoice) {
  EXPECT_EQ(Refusal<TETooMany>(m_Schema.m_Mode),
            "Property Mode(1010) Choice Field has no choice 1013, which value 2 of the enumeration "
            "stands for");
  EXPECT_EQ(Refusal<TESiteMode>(m_Schema.m_Mode),
            "Property Mode(1010) Choice Field has no choice 2011, which value 0 of the enumeration "
            "stands for");
}

TEST_F(TypedTest, IsNotMadeForAnEnumerationThatLacksAChoice) {
  EXPECT_EQ(Refusal<TETooFew>(m_Schema.m_Mode),
            "The enumeration has no value for choice 1012 of property Mode(1010) Choice Field");
}

TEST_F(TypedTest, SetsNoValueThatTheEnumerationDoesNotName) {
  Typed<TEMode> const Mode(m_Schema.m_Mode);
  EXPECT_EQ(CaughtException([&Mode] { Mode.Set(static_cast<TEMode>(7)); }).get_Message(),
            "Value 7 of the enumeration has no choice of property Mode(1010) Choice Field");
  EXPECT_EQ(StoredText(m_Schema.m_Mode), "nothing");
}

TEST_F(TypedTest, ReadsATextThatIsNoChoiceAsTheDefaultChoice) {
  Store(m_Schema.m_Mode, TCRecordID(), "99", kOwnMAC);
  EXPECT_EQ(Typed<TEMode>(m_Schema.m_Mode).Get(), TEMode::eOn);
}

TEST_F(TypedTest, ReadsNoChoiceThatTheFieldGotLater) {
  Typed<TEMode> const Mode(m_Schema.m_Mode);
  auto const& Late =
      *new Property::TCPropertyChoice("Late", "", 1013, false, &m_Schema.m_Mode, "late");
  Store(m_Schema.m_Mode, TCRecordID(), std::to_string(Late.get_Number()), kOwnMAC);
  EXPECT_EQ(CaughtException([&Mode] { Mode.Get(); }).get_Message(),
            "The enumeration has no value for choice 1013 of property Mode(1010) Choice Field");
}
