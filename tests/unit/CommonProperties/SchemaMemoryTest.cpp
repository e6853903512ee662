// SPDX-License-Identifier: MIT
// What the schema's constructors leave behind when memory runs out at any of their steps.
#include <gmock/gmock.h>

#include <new>
#include <string>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"
#include "FailingAllocations.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyChoiceID;
using Property::TCPropertyDBLookup;
using Property::TCPropertyDependency;
using Property::TCPropertyID;
using Property::TCValidRegexPropertySettings;
using ::testing::IsEmpty;

namespace {

TCNullTypes<int> const kNoParent;

TCPropertyID& NewField(int Number) {
  return *new TCPropertyID("Field", Number, "", kNoParent, 0x20);
}

struct SchemaMemoryTest : ::testing::Test {
  /// The node 11 is not registered, and nobody is.
  void ExpectNothingRegistered() const {
    EXPECT_EQ(TCBasicPropertyID::Find(11), nullptr);
    EXPECT_EQ(TCBasicPropertyID::m_List->size(), m_Nodes);
  }

  /// The node 11 is registered, and nothing of the failed ones is left to be initialised.
  void ExpectRegistered() const {
    EXPECT_EQ(TCBasicPropertyID::m_List->size(), m_Nodes + 1);
    EXPECT_NE(TCBasicPropertyID::Find(11), nullptr);
    TCBasicPropertyID::Initialize();
    EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  }

  std::string const m_Long = std::string(100, 'l');  // needs memory of its own
  TCPropertyID& m_Field = NewField(10);
  std::size_t const m_Nodes = TCBasicPropertyID::m_List->size();
};

}  // namespace

TEST_F(SchemaMemoryTest, LeavesNoNodeRegistered) {
  int const Failures = FailEachAllocation(
      [&] { new TCBasicPropertyID(m_Long, 11, Property::eGroup, m_Long, kNoParent); },
      [&] { ExpectNothingRegistered(); });

  EXPECT_GE(Failures, 4);  // the node, its two texts, its place in the registry
  ExpectRegistered();
}

TEST_F(SchemaMemoryTest, LeavesNoFieldRegistered) {
  int const Failures =
      FailEachAllocation([&] { new TCPropertyID(m_Long, 11, m_Long, kNoParent, 0x10, m_Long); },
                         [&] { ExpectNothingRegistered(); });

  EXPECT_GE(Failures, 5);  // the field, its three texts, its place in the registry
  ExpectRegistered();
}

// The pattern is declared before there is the field, in memory that is zero until then.
TEST_F(SchemaMemoryTest, LeavesNoFieldRegisteredThatPatternsWaitFor) {
  alignas(TCPropertyID) static unsigned char Place[sizeof(TCPropertyID)];
  auto* const Field = static_cast<TCPropertyID*>(static_cast<void*>(Place));
  TCValidRegexPropertySettings const Pattern(Field, m_Long);

  int const Failures =
      FailEachAllocation([&] { new (Place) TCPropertyID(m_Long, 11, m_Long, kNoParent, 0x20); },
                         [&] { ExpectNothingRegistered(); });

  EXPECT_GE(Failures, 4);  // the field's two texts, its place in the registry, its pattern
  ExpectRegistered();
  EXPECT_EQ(Field->get_Regex(), m_Long);
}

TEST_F(SchemaMemoryTest, LeavesNoLookupRegistered) {
  int const Failures = FailEachAllocation(
      [&] { new TCPropertyDBLookup(m_Long, 11, m_Long, kNoParent, 0x20, 3, m_Long, true); },
      [&] { ExpectNothingRegistered(); });

  EXPECT_GE(Failures, 5);  // the field, its three texts, its place in the registry
  ExpectRegistered();
}

TEST_F(SchemaMemoryTest, LeavesNoChoiceRegisteredNorInItsField) {
  int const Failures =
      FailEachAllocation([&] { new TCPropertyChoice(m_Long, m_Long, 11, false, &m_Field, m_Long); },
                         [&] {
                           ExpectNothingRegistered();
                           EXPECT_EQ(m_Field.get_Type(), Property::eStringField);
                           EXPECT_EQ(m_Field.get_Flags(), 0x20);
                           EXPECT_THAT(m_Field.get_Choices(), IsEmpty());
                         });

  EXPECT_GE(Failures, 6);  // the choice, its three texts, its places in registry and field
  ExpectRegistered();
}

TEST_F(SchemaMemoryTest, LeavesNoReferenceRegistered) {
  int const Failures = FailEachAllocation([&] { new TCPropertyChoiceID("", 11, m_Long); },
                                          [] { EXPECT_EQ(TCPropertyChoiceID::Find(11), nullptr); });

  EXPECT_GE(Failures, 4);  // the reference, its name, the registry, its place there
  EXPECT_NE(TCPropertyChoiceID::Find(11), nullptr);
}

TEST_F(SchemaMemoryTest, LeavesNoDependencyRegistered) {
  TCNullTypes<std::string> const Value(m_Long);

  int const Failures =
      FailEachAllocation([&] { new TCPropertyDependency(&m_Field, &m_Field, Value, 1); },
                         [&] {
                           EXPECT_TRUE(TCPropertyDependency::m_List == nullptr ||
                                       TCPropertyDependency::m_List->empty());
                         });

  EXPECT_GE(Failures, 5);  // the object, its member and that one's text, the registry, its place
  EXPECT_EQ(TCPropertyDependency::m_List->size(), 1U);
}
