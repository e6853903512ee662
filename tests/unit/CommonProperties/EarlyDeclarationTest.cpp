// SPDX-License-Identifier: MIT
// What is declared about nodes that do not exist yet, and what happens when they never do.
#include <gmock/gmock.h>

#include <new>
#include <string>
#include <typeinfo>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCPropertyShowControl.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"
#include "SchemaException.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;
using Property::TCPropertyLink;
using Property::TCPropertyShowControl;
using Property::TCValidRegexPropertySettings;
using ::testing::ElementsAre;

namespace {

/// Zero, as the memory of static objects is, until the node is constructed in it.
template <class TNode>
struct TPlace {
  TNode* get() { return static_cast<TNode*>(static_cast<void*>(m_Bytes)); }
  template <class... TArguments>
  TNode& Construct(TArguments&&... Arguments) {
    return *new (m_Bytes) TNode(std::forward<TArguments>(Arguments)...);
  }

  alignas(TNode) unsigned char m_Bytes[sizeof(TNode)];
};

TPlace<TCPropertyID> g_Field;
TPlace<TCPropertyGroup> g_Group;
TPlace<TCPropertyContainer> g_Container;

TCNullTypes<int> const kNoParent;

std::string FailureOfInitialisation(std::string const& Class) {
  TCException const Exception = CaughtException([] { TCBasicPropertyID::Initialize(); });
  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/" + Class);
  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  return Exception.get_Message();
}

class TNoChange : public TCPropertyInitOverride {
 public:
  using TCPropertyInitOverride::TCPropertyInitOverride;
  void DoInitialize() override {}
};

}  // namespace

TEST(EarlyDeclarationTest, HasAChoiceJoinItsFieldWhenThatComes) {
  TCPropertyChoice& Choice = *new TCPropertyChoice("Off", "", 11, false, g_Field.get(), 0);
  EXPECT_TRUE(Choice.get_Parent().IsNull());
  EXPECT_EQ(FailureOfInitialisation("TCPropertyChoice"),
            "Property Off(Off) Choice belongs to a field that is not constructed");

  TCPropertyID const& Field = g_Field.Construct("Mode", 10, "", kNoParent, 0x10);
  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Field.get_Choices(), ElementsAre(&Choice));
  EXPECT_EQ(Choice.get_Parent(), TCNullTypes<int>(10));
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}

TEST(EarlyDeclarationTest, LinksANodeWhenItsParentComes) {
  TCPropertyGroup& Group = *new TCPropertyGroup("Group", 10, "", false);
  TCPropertyLink const Link(Group, *g_Container.get());
  EXPECT_EQ(FailureOfInitialisation("TCPropertyLink"),
            "Property Group(10) Group is linked to a parent that is not constructed");

  g_Container.Construct("Device", 1, "", 3);

  EXPECT_EQ(Group.get_Parent(), TCNullTypes<int>(1));
}

TEST(EarlyDeclarationTest, LinksANodeThatComesAfterItsParent) {
  TCPropertyContainer const& Container = *new TCPropertyContainer("Device", 1, "", 3);
  TCPropertyLink const Link(*g_Group.get(), Container);
  EXPECT_EQ(FailureOfInitialisation("TCPropertyLink"),
            "A property that is not constructed is linked to the parent Device(1) Container");

  EXPECT_EQ(g_Group.Construct("Group", 10, "", false).get_Parent(), TCNullTypes<int>(1));
}

TEST(EarlyDeclarationTest, LinksTwoNodesThatComeInEitherOrder) {
  TCPropertyLink const Link(*g_Group.get(), *g_Container.get());
  EXPECT_EQ(FailureOfInitialisation("TCPropertyLink"),
            "A property link has two nodes that are not constructed");

  TCPropertyGroup const& Group = g_Group.Construct("Group", 10, "", false);
  EXPECT_TRUE(Group.get_Parent().IsNull());
  g_Container.Construct("Device", 1, "", 3);

  EXPECT_EQ(Group.get_Parent(), TCNullTypes<int>(1));
}

TEST(EarlyDeclarationTest, RefusesASecondParentOfANodeWhoseFirstIsNotConstructed) {
  TCPropertyGroup& Group = *new TCPropertyGroup("Group", 10, "", false);
  TCPropertyContainer const& Container = *new TCPropertyContainer("Device", 1, "", 3);
  TCPropertyLink const Link(Group, *g_Container.get());

  ExpectException(CaughtException([&] { TCPropertyLink const Second(Group, Container); }),
                  "TCPropertyLink", "From.m_Parent.IsNull()==true",
                  "Property Group(10) Group do allready have a parent");
}

TEST(EarlyDeclarationTest, RefusesToConstructANodeWithALinkAndAnotherParent) {
  TCPropertyContainer const& Container = *new TCPropertyContainer("Device", 1, "", 3);
  TCPropertyLink const Link(*g_Field.get(), Container);

  ExpectException(CaughtException([] { g_Field.Construct("Field", 10, "", 77, 0x10); }),
                  "TCPropertyLink", "From.m_Parent.IsNull()==true",
                  "Property Field(10) Field do allready have a parent");
  EXPECT_EQ(TCBasicPropertyID::Find(10), nullptr);
}

TEST(EarlyDeclarationTest, NamesTheOverrideOfANodeThatIsNotConstructed) {
  TNoChange const Override(g_Field.get());

  EXPECT_EQ(FailureOfInitialisation("TCPropertyInitOverride"),
            "An override of the class " + std::string(typeid(TNoChange).name()) +
                " is for a property that is not constructed");
}

TEST(EarlyDeclarationTest, NamesThePatternOfAFieldThatIsNotConstructed) {
  TCValidRegexPropertySettings const Pattern(g_Field.get(), "^x$");

  EXPECT_EQ(FailureOfInitialisation("TCValidRegexPropertySettings"),
            "The pattern [^x$] is for a property that is not constructed");
}

TEST(EarlyDeclarationTest, RefusesToShowANodeThatIsNotConstructed) {
  TCPropertyShowControl const& Control = *new TCPropertyShowControl(g_Field.get(), false);

  EXPECT_EQ(FailureOfInitialisation("TCPropertyShowControl"),
            "A property show control is for a property that is not constructed");
  static_cast<void>(Control);
}
