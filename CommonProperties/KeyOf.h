// SPDX-License-Identifier: MIT
// The place of a value in the store, of the value itself.
#pragma once

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

inline TCPropertyKey KeyOf(TCCommonPropertyObject const& Value) {
  return TCPropertyKey(Value.get_ID(), Value.get_Link(), Value.get_MAC());
}

}  // namespace Property
