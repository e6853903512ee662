// SPDX-License-Identifier: MIT
// One field of each kind that a complete schema can have, for the tests of values.
#pragma once

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

/// The device of the values that have one.
inline constexpr char const* kMAC = "00:11:22:33:44:55";

/// The nodes stay in the process's registry: one schema a process.
struct TValueSchema {
  Accessories::TCNullTypes<int> m_NoParent;

  Property::TCPropertyID& m_Boolean = *new Property::TCPropertyID("Flag", 10, "", m_NoParent, 0x08);
  Property::TCPropertyID& m_BooleanFalse =
      *new Property::TCPropertyID("FlagOff", 11, "", m_NoParent, 0x08, false);
  Property::TCPropertyID& m_BooleanTrue =
      *new Property::TCPropertyID("FlagOn", 12, "", m_NoParent, 0x08, true);
  Property::TCPropertyID& m_Integer =
      *new Property::TCPropertyID("Count", 20, "", m_NoParent, 0x10);
  Property::TCPropertyID& m_Integer42 =
      *new Property::TCPropertyID("Count42", 21, "", m_NoParent, 0x10, 42);
  Property::TCPropertyID& m_String = *new Property::TCPropertyID("Name", 30, "", m_NoParent, 0x20);
  Property::TCPropertyID& m_StringBob =
      *new Property::TCPropertyID("NameBob", 31, "", m_NoParent, 0x20, "bob");
  Property::TCPropertyDBLookup& m_Lookup =
      *new Property::TCPropertyDBLookup("Table", 40, "", m_NoParent, 0x10, 1, "users", true);

  /// Off, On (the default) and Five; the values of the latter two are a text and a number.
  Property::TCPropertyID& m_Choice = *new Property::TCPropertyID("Mode", 100, "", m_NoParent, 0x10);
  Property::TCPropertyChoice& m_Off =
      *new Property::TCPropertyChoice("Off", "Switched off", 101, false, &m_Choice, "off");
  Property::TCPropertyChoice& m_On =
      *new Property::TCPropertyChoice("On", "Switched on", 102, true, &m_Choice, "on");
  Property::TCPropertyChoice& m_Five =
      *new Property::TCPropertyChoice("Five", "Five times", 103, false, &m_Choice, 5);

  /// A choice field that reads as a boolean; No is the default.
  Property::TCPropertyID& m_YesNo = *new Property::TCPropertyID("YesNo", 200, "", m_NoParent, 0x10);
  Property::TCPropertyChoice& m_No =
      *new Property::TCPropertyChoice("No", "Not so", 201, true, &m_YesNo, 0);
  Property::TCPropertyChoice& m_Yes =
      *new Property::TCPropertyChoice("Yes", "Just so", 202, false, &m_YesNo, 1);

  /// A choice field whose default choice has the empty value text.
  Property::TCPropertyID& m_Blank = *new Property::TCPropertyID("Blank", 300, "", m_NoParent, 0x10);
  Property::TCPropertyChoice& m_Nothing =
      *new Property::TCPropertyChoice("Nothing", "", 301, true, &m_Blank, "");

  /// Of the type of a choice field, but nothing to choose from.
  Property::TCPropertyID& m_NoChoices = NewFieldWithoutChoices();

  /// A choice of no field above.
  Property::TCPropertyID& m_Other = *new Property::TCPropertyID("Other", 500, "", m_NoParent, 0x10);
  Property::TCPropertyChoice& m_Stranger =
      *new Property::TCPropertyChoice("Stranger", "Elsewhere", 501, false, &m_Other, "stranger");

 private:
  Property::TCPropertyID& NewFieldWithoutChoices() {
    auto& Field = *new Property::TCPropertyID("NoChoices", 400, "", m_NoParent, 0x10);
    Field.set_Type(Property::eComboField);
    return Field;
  }
};
