// SPDX-License-Identifier: MIT
// The calls that read values.
#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/TCStoreOpening.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Utility/TCException.h"

using namespace Property;
using namespace Property::C;

namespace {

// Why a value that the process does not hold was not fetched.
property_status StatusOfMissing() {
  if (TCStoreOpening::Get().IsInChild()) {
    return PROPERTY_IN_CHILD;
  }
  return TCReadGuard::IsHeld() ? PROPERTY_IN_GUARD : PROPERTY_NO_VALUE;
}

TCCommonPropertyObject Read(property_value const* Value) {
  Require(Value, "value");
  try {
    return GetProperty(*Value->Field, Value->Record, Value->Device);
  } catch (TCException const& Failure) {
    throw TCBorderFailure(StatusOfMissing(), Failure.what());
  }
}

}  // namespace

property_status property_get_int(property_value const* value, int32_t* number) {
  return Cross([&] {
    Require(number, "number");
    *number = ReadInt(Read(value));
  });
}

property_status property_get_bool(property_value const* value, int32_t* truth) {
  return Cross([&] {
    Require(truth, "truth");
    *truth = ReadBool(Read(value));
  });
}

property_status property_get_choice(property_value const* value, int32_t* number) {
  return Cross([&] {
    Require(number, "number");
    *number = ReadChoice(Read(value));
  });
}

property_status property_get_text(property_value const* value, char** text, size_t* length) {
  return Cross([&] {
    Require(text, "text");
    GiveText(Read(value).get_AsString(), text, length);
  });
}

property_status property_exists(property_value const* value, int32_t* exists) {
  return Cross([&] {
    Require(value, "value");
    Require(exists, "exists");
    TCPropertyCollection& Store = *TCPropertyCollection::get();
    *exists = Store.ExistProperty(*value->Field, value->Record, value->Device) ? 1 : 0;
  });
}
