// SPDX-License-Identifier: MIT
// Makes the handles of values, and reads values by their types.
#include "Bindings/C/Handles.h"

#include "Bindings/C/Border.h"
#include "Bindings/C/TCStoreOpening.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/TCMACAddress.h"

namespace Property::C {

namespace {

char const* NameOfType(property_type Type) {
  switch (Type) {
    case PROPERTY_TYPE_INTEGER:
      return "an integer";
    case PROPERTY_TYPE_BOOLEAN:
      return "a boolean";
    case PROPERTY_TYPE_TEXT:
      return "a text";
    case PROPERTY_TYPE_CHOICE:
      return "a choice";
    case PROPERTY_TYPE_LOOKUP:
      return "a lookup";
    default:
      return "of no type";
  }
}

}  // namespace

property_value* NewValue(TCPropertyID const& Field, Accessories::TCRecordID const& Record,
                         std::string const& Device) {
  return new property_value{&Field, Record, Device, TCStoreOpening::Get().get_Names().Path(Field)};
}

property_value* NewValue(TCPropertyKey const& Key) {
  return NewValue(Key.get_ID(), Key.get_Link(), Key.get_MAC().get_AsString(':'));
}

TCPropertyKey KeyOfValue(property_value const& Value) {
  return TCPropertyKey(
      *Value.Field, Value.Record,
      Value.Device.empty() ? TCPropertyCollection::GetCurrentMAC(*Value.Field) : Value.Device);
}

property_type TypeOf(TCPropertyID const& Field) {
  switch (Field.get_Type()) {
    case eIntegerField:
      return PROPERTY_TYPE_INTEGER;
    case eBooleanField:
      return PROPERTY_TYPE_BOOLEAN;
    case eStringField:
      return PROPERTY_TYPE_TEXT;
    case eComboField:
      return PROPERTY_TYPE_CHOICE;
    case eDBLookupField:
      return PROPERTY_TYPE_LOOKUP;
    default:
      return PROPERTY_TYPE_NONE;
  }
}

void RequireType(TCPropertyID const& Field, property_type Type) {
  property_type const Found = TypeOf(Field);
  if (Found != Type) {
    throw TCBorderFailure(PROPERTY_WRONG_TYPE, TCStoreOpening::Get().get_Names().Path(Field) +
                                                   " is " + NameOfType(Found) + ", not " +
                                                   NameOfType(Type));
  }
}

int ReadInt(TCCommonPropertyObject const& Value) {
  RequireType(Value.get_ID(), PROPERTY_TYPE_INTEGER);
  return Value.get_AsInteger();
}

int ReadBool(TCCommonPropertyObject const& Value) {
  RequireType(Value.get_ID(), PROPERTY_TYPE_BOOLEAN);
  return Value.get_AsBool() ? 1 : 0;
}

int ReadChoice(TCCommonPropertyObject const& Value) {
  RequireType(Value.get_ID(), PROPERTY_TYPE_CHOICE);
  return Value.get_ChoiceID();
}

}  // namespace Property::C
