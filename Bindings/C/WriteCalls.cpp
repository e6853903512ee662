// SPDX-License-Identifier: MIT
// The calls that change values.
#include <cstring>
#include <string>

#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/TCStoreOpening.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TextConversions.h"

using namespace Property;
using namespace Property::C;

namespace {

void RequireWritable(property_value const* Value) {
  Require(Value, "value");
  TCStoreOpening::Get().RequireOwnProcess();
}

// As a transaction keeps it: the first text that is set is the one that counts.
void Gather(TCPropertyTransaction& Transaction, property_value const& Value,
            std::string const& Data) {
  TCPropertyKey const Key = KeyOfValue(Value);
  TCCommonPropertyObject const* const Pending = Transaction.Find(Key);
  if (Pending == nullptr) {
    Transaction.Changed(Key, Data);
  } else if (Pending->GetRealValue() != Data) {
    throw TCBorderFailure(PROPERTY_SET_TWICE,
                          Value.Path + " was set otherwise in this transaction already");
  }
}

// `Data` is the text as it is stored. A choice goes in by its number: the store's own set takes it
// by its text, which two choices may share.
void Set(property_value const& Value, std::string const& Data) {
  if (TCPropertyTransaction* const Transaction = TCPropertyCollection::InTransaction()) {
    Gather(*Transaction, Value, Data);
  } else if (Value.Field->get_Type() == eComboField) {
    TCPropertyKey const Key = KeyOfValue(Value);
    TCPropertyCollection::get()->LoadProperty(*Value.Field, Data, Value.Record,
                                              Key.get_MAC().get_AsString(':'));
  } else {
    SetProperty(*Value.Field, Data, Value.Record, Value.Device);
  }
}

void SetAllowed(property_value const& Value, std::string const& Data) {
  std::string const Reason = TCStoreOpening::Get().ReasonAgainst(*Value.Field, Data);
  if (!Reason.empty()) {
    throw TCBorderFailure(PROPERTY_BAD_VALUE, Value.Path + ": " + Reason);
  }
  Set(Value, Data);
}

}  // namespace

property_status property_set_int(property_value const* value, int32_t number) {
  return Cross([&] {
    RequireWritable(value);
    RequireType(*value->Field, PROPERTY_TYPE_INTEGER);
    SetAllowed(*value, ToString(number));
  });
}

property_status property_set_bool(property_value const* value, int32_t truth) {
  return Cross([&] {
    RequireWritable(value);
    RequireType(*value->Field, PROPERTY_TYPE_BOOLEAN);
    SetAllowed(*value, truth != 0 ? "1" : "0");
  });
}

property_status property_set_choice(property_value const* value, int32_t number) {
  return Cross([&] {
    RequireWritable(value);
    RequireType(*value->Field, PROPERTY_TYPE_CHOICE);
    SetAllowed(*value, ToString(number));
  });
}

property_status property_set_text(property_value const* value, char const* text, size_t length) {
  return Cross([&] {
    RequireWritable(value);
    Require(text, "text");
    if (value->Field->get_Type() != eDBLookupField) {
      RequireType(*value->Field, PROPERTY_TYPE_TEXT);
    }
    SetAllowed(*value, std::string(text, length != PROPERTY_WHOLE_TEXT ? length : strlen(text)));
  });
}

property_status property_set_written(property_value const* value, char const* text) {
  return Cross([&] {
    RequireWritable(value);
    Require(text, "text");
    TCValueRules::TSTyped const Read = TCStoreOpening::Get().Read(*value->Field, text);
    if (!Read.Reason.empty()) {
      throw TCBorderFailure(PROPERTY_BAD_VALUE, value->Path + ": " + Read.Reason);
    }
    Set(*value, Read.Data);
  });
}

property_status property_set_default(property_value const* value) {
  return Cross([&] {
    RequireWritable(value);
    auto const Default = value->Field->GetDefaultValue();
    if (Default.IsNull()) {
      throw TCBorderFailure(PROPERTY_NO_VALUE, value->Path + " has no default");
    }
    Set(*value, Default.get_Value());
  });
}
