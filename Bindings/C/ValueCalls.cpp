// SPDX-License-Identifier: MIT
// The calls that find properties and tell what the schema says of them.
#include <iterator>
#include <limits>
#include <string>

#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/TCStoreOpening.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "Platform/Utility/TCMACAddress.h"

using namespace Property;
using namespace Property::C;

namespace {

// The address as the store writes it; empty for none given.
std::string DeviceOf(char const* Text) {
  std::string const Given = Text != nullptr ? Text : "";
  TCMACAddress const Address(Given);
  if (!Given.empty() && Address.Empty()) {
    throw TCBorderFailure(PROPERTY_BAD_ARGUMENT, "'" + Given + "' is no address of a device");
  }
  return Address.get_AsString(':');
}

Accessories::TCRecordID RecordOf(int64_t Record) {
  if (Record == PROPERTY_NO_RECORD) {
    return Accessories::TCRecordID();
  }
  if (Record < std::numeric_limits<int>::min() || Record > std::numeric_limits<int>::max()) {
    throw TCBorderFailure(PROPERTY_BAD_ARGUMENT,
                          "the record " + std::to_string(Record) + " has more than 32 bits");
  }
  return Accessories::TCRecordID(static_cast<int>(Record));
}

void RequireIndex(std::size_t Index, std::size_t Count, char const* What) {
  if (Index >= Count) {
    throw TCBorderFailure(PROPERTY_NOT_FOUND, "there is no " + std::string(What) + " " +
                                                  std::to_string(Index) + " of " +
                                                  std::to_string(Count));
  }
}

}  // namespace

property_status property_find(property_store const* store, char const* name, char const* device,
                              property_value** value) {
  return Cross([&] {
    Require(store, "store");
    Require(name, "name");
    Require(value, "value");
    TSNamedProperty const Found = TCStoreOpening::Get().get_Names().Resolve(name);
    if (Found.Field == nullptr) {
      throw TCBorderFailure(Found.IsUnknown ? PROPERTY_NOT_FOUND : PROPERTY_AMBIGUOUS, Found.Error);
    }
    *value = NewValue(*Found.Field, Found.Link, DeviceOf(device));
  });
}

size_t property_count(property_store const* store) {
  return store != nullptr ? TCStoreOpening::Get().get_Names().get_Fields().size() : 0;
}

property_status property_at(property_store const* store, size_t index, property_value** value) {
  return Cross([&] {
    Require(store, "store");
    Require(value, "value");
    auto const& Fields = TCStoreOpening::Get().get_Names().get_Fields();
    RequireIndex(index, Fields.size(), "property");
    *value = NewValue(*Fields[index], Accessories::TCRecordID(), std::string());
  });
}

property_status property_elsewhere(property_value const* value, int64_t record, char const* device,
                                   property_value** other) {
  return Cross([&] {
    Require(value, "value");
    Require(other, "other");
    *other = NewValue(*value->Field, RecordOf(record), DeviceOf(device));
  });
}

void property_free_value(property_value* value) {
  delete value;
}

int32_t property_number(property_value const* value) {
  return value != nullptr ? value->Field->get_Number() : 0;
}

property_type property_type_of(property_value const* value) {
  return value != nullptr ? TypeOf(*value->Field) : PROPERTY_TYPE_NONE;
}

char const* property_path(property_value const* value) {
  return value != nullptr ? value->Path.c_str() : nullptr;
}

char const* property_name(property_value const* value) {
  return value != nullptr ? value->Field->get_Name().c_str() : nullptr;
}

char const* property_description(property_value const* value) {
  return value != nullptr ? value->Field->get_Description().c_str() : nullptr;
}

char const* property_pattern(property_value const* value) {
  return value != nullptr ? value->Field->get_Regex().c_str() : nullptr;
}

int32_t property_flags(property_value const* value) {
  return value != nullptr ? value->Field->get_Flags() : 0;
}

int64_t property_record(property_value const* value) {
  bool const Has = value != nullptr && !value->Record.IsNull();
  return Has ? value->Record.get_AsInteger() : PROPERTY_NO_RECORD;
}

char const* property_device(property_value const* value) {
  return value != nullptr ? value->Device.c_str() : nullptr;
}

size_t property_choice_count(property_value const* value) {
  return value != nullptr ? value->Field->get_Choices().size() : 0;
}

property_status property_choice_at(property_value const* value, size_t index, int32_t* number,
                                   char const** text, char const** name, char const** description) {
  return Cross([&] {
    Require(value, "value");
    auto const& Choices = value->Field->get_Choices();
    RequireIndex(index, Choices.size(), "choice");
    TCPropertyChoice const& Choice =
        **std::next(Choices.begin(), static_cast<std::ptrdiff_t>(index));
    auto const Give = [](char const** Output, std::string const& Text) {
      if (Output != nullptr) {
        *Output = Text.c_str();
      }
    };
    if (number != nullptr) {
      *number = Choice.get_Number();
    }
    Give(text, Choice.get_Value());
    Give(name, Choice.get_Name());
    Give(description, Choice.get_Description());
  });
}

property_status property_default_text(property_value const* value, char** text, size_t* length) {
  return Cross([&] {
    Require(value, "value");
    if (value->Field->GetDefaultValue().IsNull()) {
      throw TCBorderFailure(PROPERTY_NO_VALUE, value->Path + " has no default");
    }
    TCCommonPropertyObject const Unset(*value->Field, value->Record, std::string());
    GiveText(Unset.get_AsString(), text, length);
  });
}
