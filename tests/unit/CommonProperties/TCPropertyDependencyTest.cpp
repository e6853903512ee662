// SPDX-License-Identifier: MIT
// Declarations of which nodes govern which, and their answers.
#include "CommonProperties/TCPropertyDependency.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyDependency;
using Property::TCPropertyDependencyEntry;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using TText = TCNullTypes<std::string>;
using TEntry = std::tuple<int, TText, bool>;

TCNullTypes<int> const kNoParent;
char const* const kNoText = nullptr;

TCPropertyID& NewField(int Number, int Flags = 0x10) {
  return *new TCPropertyID("Field", Number, "", kNoParent, Flags);
}

/// Stays alive, because the registry refers to it.
template <class... TArguments>
TCPropertyDependency& Declare(TArguments&&... Arguments) {
  return *new TCPropertyDependency(std::forward<TArguments>(Arguments)...);
}

/// Ids, values and flags of the entries.
std::vector<TEntry> EntriesOf(TCPropertyDependencyEntry const& Root) {
  std::vector<TEntry> Result;
  for (TCPropertyDependencyEntry const& Entry : Root.get_Entries()) {
    Result.emplace_back(Entry.get_ID().get_Value(), Entry.get_Value(), Entry.get_Flag());
  }
  return Result;
}

TText ValueOf(TCPropertyDependency const& Dependency) {
  return Dependency.get_Members().front().get_Value();
}

/// A field 10 with the choices 11 to 14, and one 20 with the choice 21.
struct TChoices {
  TCPropertyID& m_Source = NewField(1);
  TCPropertyID& m_Field = NewField(10);
  TCPropertyChoice& m_First = *new TCPropertyChoice("1", "", 11, false, &m_Field, 1);
  TCPropertyChoice& m_Second = *new TCPropertyChoice("2", "", 12, false, &m_Field, 2);
  TCPropertyChoice& m_Third = *new TCPropertyChoice("3", "", 13, false, &m_Field, 3);
  TCPropertyChoice& m_Fourth = *new TCPropertyChoice("4", "", 14, false, &m_Field, 4);
  TCPropertyID& m_Other = NewField(20);
  TCPropertyChoice& m_OfOther = *new TCPropertyChoice("5", "", 21, false, &m_Other, 5);
};

}  // namespace

static_assert(!std::is_copy_constructible_v<TCPropertyDependency>);
// Zero is a truth value and never a text.
static_assert(std::is_constructible_v<TCPropertyDependency, TCBasicPropertyID*, TCBasicPropertyID*,
                                      int, int>);
static_assert(!std::is_constructible_v<TCPropertyDependency, TCBasicPropertyID*, TCBasicPropertyID*,
                                       std::nullptr_t, int>);

// ---- entries ----

TEST(TCPropertyDependencyEntryTest, IsAnEmptyRootByDefault) {
  TCPropertyDependencyEntry const Root;
  EXPECT_TRUE(Root.get_ID().IsNull());
  EXPECT_TRUE(Root.get_Value().IsNull());
  EXPECT_FALSE(Root.get_Flag());
  EXPECT_THAT(Root.get_Entries(), IsEmpty());
}

TEST(TCPropertyDependencyEntryTest, KeepsWhatItWasBuiltFrom) {
  TCPropertyDependencyEntry const Entry(7, "text", true);
  EXPECT_EQ(Entry.get_ID(), TCNullTypes<int>(7));
  EXPECT_EQ(Entry.get_Value(), TText("text"));
  EXPECT_TRUE(Entry.get_Flag());
  EXPECT_THAT(Entry.get_Entries(), IsEmpty());
}

TEST(TCPropertyDependencyEntryTest, KeepsEntriesInTheOrderInWhichTheyWereAdded) {
  TCPropertyDependencyEntry Root;
  Root.Add(TCPropertyDependencyEntry(9, "a", true));
  Root.Add(TCPropertyDependencyEntry(3, TText(), false));

  EXPECT_THAT(EntriesOf(Root), ElementsAre(TEntry(9, "a", true), TEntry(3, TText(), false)));
}

TEST(TCPropertyDependencyEntryTest, AddsADeepCopy) {
  TCPropertyDependencyEntry Child(2, "child", false);
  Child.Add(TCPropertyDependencyEntry(3, "grandchild", true));
  TCPropertyDependencyEntry Root;
  Root.Add(Child);

  Child.Add(TCPropertyDependencyEntry(4, "later", true));

  EXPECT_THAT(EntriesOf(Root.get_Entries().front()), ElementsAre(TEntry(3, "grandchild", true)));
}

TEST(TCPropertyDependencyEntryTest, CanBeAddedToItself) {
  TCPropertyDependencyEntry Entry(2, "self", false);
  Entry.Add(Entry);

  ASSERT_THAT(Entry.get_Entries(), SizeIs(1));
  EXPECT_EQ(Entry.get_Entries().front().get_Value(), TText("self"));
  EXPECT_THAT(Entry.get_Entries().front().get_Entries(), IsEmpty());
}

TEST(TCPropertyDependencyEntryTest, IsCopiedWithEverythingBelow) {
  TCPropertyDependencyEntry Original(2, "original", true);
  Original.Add(TCPropertyDependencyEntry(3, "child", false));

  TCPropertyDependencyEntry const Copy(Original);

  EXPECT_EQ(Copy.get_ID(), TCNullTypes<int>(2));
  EXPECT_THAT(EntriesOf(Copy), ElementsAre(TEntry(3, "child", false)));
}

// ---- declarations ----

TEST(TCPropertyDependencyTest, HasAMemberWithoutValue) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& Target = NewField(2);
  TCPropertyDependency const& Dependency = Declare(&Source, &Target, 3);

  EXPECT_EQ(Dependency.get_Source(), &Source);
  EXPECT_EQ(Dependency.get_Mode(), 3);
  ASSERT_THAT(Dependency.get_Members(), SizeIs(1));
  EXPECT_EQ(Dependency.get_Members().front().get_Target(), &Target);
  EXPECT_TRUE(ValueOf(Dependency).IsNull());
  EXPECT_EQ(Dependency.get_Members().front().get_Flag(), 0);
}

TEST(TCPropertyDependencyTest, KeepsATextValue) {
  TCPropertyID& Target = NewField(100);
  EXPECT_EQ(ValueOf(Declare(&NewField(1), &Target, "5", 1)), TText("5"));
  EXPECT_EQ(ValueOf(Declare(&NewField(2), &Target, std::string("6"), 1)), TText("6"));
  EXPECT_EQ(ValueOf(Declare(&NewField(3), &Target, TText("7"), 1)), TText("7"));
  EXPECT_EQ(ValueOf(Declare(&NewField(4), &Target, "", 1)), TText(""));
  char Writable[] = "8";
  EXPECT_EQ(ValueOf(Declare(&NewField(5), &Target, &Writable[0], 1)), TText("8"));
}

TEST(TCPropertyDependencyTest, KeepsANullValue) {
  EXPECT_TRUE(ValueOf(Declare(&NewField(1), &NewField(2), TText(), 1)).IsNull());
}

TEST(TCPropertyDependencyTest, KeepsABooleanValueAsTrueOrFalse) {
  TCPropertyID& Target = NewField(100, 0x08);
  EXPECT_EQ(ValueOf(Declare(&NewField(1), &Target, true, 1)), TText("true"));
  EXPECT_EQ(ValueOf(Declare(&NewField(2), &Target, false, 1)), TText("false"));
}

TEST(TCPropertyDependencyTest, RefusesANullTextAndRegistersNothing) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& Target = NewField(2);

  EXPECT_THROW(TCPropertyDependency(&Source, &Target, kNoText, 1), std::logic_error);

  EXPECT_EQ(TCPropertyDependency::m_List, nullptr);
}

TEST(TCPropertyDependencyTest, IsRegisteredAsTheFirstDeclarationOfItsSource) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& Target = NewField(2);
  TCPropertyDependency& First = Declare(&Source, &Target, 1);
  TCPropertyDependency const Second(&Source, &Target, 1);

  EXPECT_EQ(TCPropertyDependency::m_List->at(&Source), &First);
  EXPECT_EQ(TCPropertyDependency::m_List->size(), 1U);
}

TEST(TCPropertyDependencyTest, GathersTheMembersOfASourceInItsFirstDeclaration) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& A = NewField(2);
  TCPropertyID& B = NewField(3);
  TCPropertyDependency const& First = Declare(&Source, &B, "b", 1);
  TCPropertyDependency const Second(&Source, &A, "a", 0);

  EXPECT_THAT(EntriesOf(First.GetDependency()),
              ElementsAre(TEntry(3, "b", true), TEntry(2, "a", true)));
  EXPECT_THAT(Second.get_Members(), IsEmpty());
  EXPECT_EQ(Second.get_Source(), &Source);
  EXPECT_EQ(Second.get_Mode(), 0);
}

TEST(TCPropertyDependencyTest, AnswersTheBareRootForALaterDeclaration) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& Target = NewField(2);
  Declare(&Source, &Target, "a", 1);
  TCPropertyDependency const Second(&Source, &Target, "b", 1);

  TCPropertyDependencyEntry const Root = Second.GetDependency();

  EXPECT_TRUE(Root.get_ID().IsNull());
  EXPECT_TRUE(Root.get_Value().IsNull());
  EXPECT_FALSE(Root.get_Flag());
  EXPECT_THAT(Root.get_Entries(), IsEmpty());
}

TEST(TCPropertyDependencyTest, KeepsTheSourcesApart) {
  TCPropertyID& Target = NewField(3);
  TCPropertyDependency const& First = Declare(&NewField(1), &Target, "a", 1);
  TCPropertyDependency const& Second = Declare(&NewField(2), &Target, "b", 1);

  EXPECT_THAT(EntriesOf(First.GetDependency()), ElementsAre(TEntry(3, "a", true)));
  EXPECT_THAT(EntriesOf(Second.GetDependency()), ElementsAre(TEntry(3, "b", true)));
}

TEST(TCPropertyDependencyTest, InsertsItselfForASourceWithoutDeclaration) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& Another = NewField(2);
  TCPropertyDependency& First = Declare(&Source, &NewField(3), 1);
  TCPropertyDependency Second(&Source, &NewField(4), 1);

  EXPECT_EQ(Second.Insert(&Source), &First);
  EXPECT_EQ(First.Insert(&Another), &First);
  EXPECT_EQ(Second.Insert(&Another), &First);
  EXPECT_EQ(TCPropertyDependency::m_List->at(&Another), &First);
}

TEST(TCPropertyDependencyTest, TakesTheSchemasLockToRegister) {
  TCPropertyID& Source = NewField(1);
  TCPropertyID& Target = NewField(2);
  EXPECT_TRUE(TakesSchemaLock([&] { Declare(&Source, &Target, 1); }));
}

// ---- answers ----

TEST(TCPropertyDependencyTest, FlagsFieldsInModeOneOnly) {
  TCPropertyID& Target = NewField(100);
  EXPECT_THAT(EntriesOf(Declare(&NewField(1), &Target, "v", 1).GetDependency()),
              ElementsAre(TEntry(100, "v", true)));
  EXPECT_THAT(EntriesOf(Declare(&NewField(2), &Target, "v", 0).GetDependency()),
              ElementsAre(TEntry(100, "v", false)));
  EXPECT_THAT(EntriesOf(Declare(&NewField(3), &Target, "v", 2).GetDependency()),
              ElementsAre(TEntry(100, "v", false)));
}

TEST(TCPropertyDependencyTest, AnswersFieldsOfEveryType) {
  TChoices const Choices;
  TCPropertyID& Source = NewField(2);
  TCPropertyDependency const& Dependency = Declare(&Source, &Choices.m_Field, "c", 1);
  TCPropertyDependency const Integer(&Source, &NewField(30, 0x10), "7", 1);
  TCPropertyDependency const String(&Source, &NewField(31, 0x20), "s", 1);
  TCPropertyDependency const Boolean(&Source, &NewField(32, 0x08), false, 1);
  TCPropertyDependency const WithoutValue(&Source, &NewField(33), 1);

  EXPECT_THAT(EntriesOf(Dependency.GetDependency()),
              ElementsAre(TEntry(10, "c", true), TEntry(30, "7", true), TEntry(31, "s", true),
                          TEntry(32, "false", true), TEntry(33, TText(), true)));
}

TEST(TCPropertyDependencyTest, AnswersTheChoiceItselfInModeOne) {
  TChoices const Choices;
  TCPropertyDependency const& Dependency = Declare(&Choices.m_Source, &Choices.m_Second, "v", 1);
  EXPECT_THAT(EntriesOf(Dependency.GetDependency()), ElementsAre(TEntry(10, "12", true)));
}

TEST(TCPropertyDependencyTest, AnswersTheOtherChoicesOfTheFieldInModeZero) {
  TChoices const Choices;
  TCPropertyDependency const& Dependency = Declare(&Choices.m_Source, &Choices.m_Second, 0);
  EXPECT_THAT(EntriesOf(Dependency.GetDependency()),
              ElementsAre(TEntry(10, "11", true), TEntry(10, "13", true), TEntry(10, "14", true)));
}

TEST(TCPropertyDependencyTest, AnswersTheChoiceItselfInEveryModeButZero) {
  TChoices const Choices;
  TCPropertyDependency const& Dependency = Declare(&Choices.m_Source, &Choices.m_Second, 2);
  EXPECT_THAT(EntriesOf(Dependency.GetDependency()), ElementsAre(TEntry(10, "12", true)));
}

TEST(TCPropertyDependencyTest, AnswersNothingForTheOnlyChoiceOfAFieldInModeZero) {
  TChoices const Choices;
  TCPropertyDependency const& Dependency = Declare(&Choices.m_Source, &Choices.m_OfOther, 0);
  EXPECT_THAT(Dependency.GetDependency().get_Entries(), IsEmpty());
}

TEST(TCPropertyDependencyTest, AnswersChoicesWithoutParentAmongThemselves) {
  TChoices const Choices;
  auto& Loose = *new TCBasicPropertyID("Loose", 40, Property::eComboChoice, "", TCNullTypes<int>());
  new TCBasicPropertyID("Loose", 41, Property::eComboChoice, "", TCNullTypes<int>());

  TCPropertyDependencyEntry const Root = Declare(&Choices.m_Source, &Loose, 0).GetDependency();

  ASSERT_THAT(Root.get_Entries(), SizeIs(1));
  EXPECT_TRUE(Root.get_Entries().front().get_ID().IsNull());
  EXPECT_EQ(Root.get_Entries().front().get_Value(), TText("41"));
}

TEST(TCPropertyDependencyTest, AddsChoicesToAnEntryThatHasSome) {
  TChoices const Choices;
  TCPropertyDependency const& Dependency = Declare(&Choices.m_Source, &Choices.m_Second, 1);
  TCPropertyDependencyEntry Entry;
  Entry.Add(TCPropertyDependencyEntry(1, "before", false));

  Dependency.FillChoices(TCPropertyDependency::TCMember(&Choices.m_Third, TText(), 0), Entry);

  EXPECT_THAT(EntriesOf(Entry), ElementsAre(TEntry(1, "before", false), TEntry(10, "13", true)));
}

TEST(TCPropertyDependencyTest, RefusesATargetThatIsNeitherFieldNorChoice) {
  for (TCBasicPropertyID* Target : {
           static_cast<TCBasicPropertyID*>(new TCPropertyContainer("Device", 50, "", 5)),
           static_cast<TCBasicPropertyID*>(new TCPropertyGroup("Group", 51, "", false)),
           static_cast<TCBasicPropertyID*>(&NewField(52, 0x00)),
           static_cast<TCBasicPropertyID*>(
               new TCPropertyDBLookup("Lookup", 53, "", kNoParent, 0x20, 1, "", true)),
       }) {
    TCPropertyDependency const& Dependency = Declare(Target, Target, 1);

    TCException const Exception = CaughtException([&] { Dependency.GetDependency(); });

    ExpectException(Exception, "TCPropertyDependency", "", "NYI");
    EXPECT_EQ(Exception.get_Line(), 147);
  }
}

TEST(TCPropertyDependencyEntryTest, IsAssignedFromItsOwnChild) {
  TCPropertyDependencyEntry Grandchild(3, TText(std::string(100, 'g')), true);
  TCPropertyDependencyEntry Child(2, TText(std::string(100, 'c')), true);
  Child.Add(Grandchild);
  TCPropertyDependencyEntry Root(1, TText(std::string(100, 'r')), false);
  Root.Add(Child);
  Root.Add(Grandchild);

  Root = Root.get_Entries().front();

  EXPECT_EQ(Root.get_ID(), TCNullTypes<int>(2));
  EXPECT_EQ(Root.get_Value(), TText(std::string(100, 'c')));
  EXPECT_TRUE(Root.get_Flag());
  ASSERT_THAT(Root.get_Entries(), SizeIs(1));
  EXPECT_EQ(Root.get_Entries().front().get_Value(), TText(std::string(100, 'g')));
}

TEST(TCPropertyDependencyEntryTest, TakesACopyOfItselfIn) {
  TCPropertyDependencyEntry Root(1, TText("r"), false);
  Root.Add(TCPropertyDependencyEntry(2, TText("c"), true));

  Root.Add(Root);

  ASSERT_THAT(Root.get_Entries(), SizeIs(2));
  EXPECT_EQ(Root.get_Entries().back().get_ID(), TCNullTypes<int>(1));
  EXPECT_THAT(Root.get_Entries().back().get_Entries(), SizeIs(1));
}
