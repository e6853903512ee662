// SPDX-License-Identifier: MIT
// Fields and choices for the tests of field definitions; they stay in the process's registry.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

inline Accessories::TCNullTypes<int> const kNoParent;

inline Property::TCPropertyID& NewField(int Flags, int Number = 10) {
  return *new Property::TCPropertyID("Field", Number, "", kNoParent, Flags);
}

inline Property::TCPropertyChoice& NewChoice(Property::TCPropertyID& Owner, int Number,
                                             bool Default, std::string const& Value = "value") {
  return *new Property::TCPropertyChoice("Choice", "", Number, Default, &Owner, Value);
}

/// Choices 11, 12 and 13 with the values "a", "b" and "c", of which 12 is the default.
struct TChoiceField {
  Property::TCPropertyID& m_Field = NewField(0x10);
  Property::TCPropertyChoice& m_A = NewChoice(m_Field, 11, false, "a");
  Property::TCPropertyChoice& m_B = NewChoice(m_Field, 12, true, "b");
  Property::TCPropertyChoice& m_C = NewChoice(m_Field, 13, false, "c");
};
