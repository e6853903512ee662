// SPDX-License-Identifier: MIT
// A use of the interface that is compiled as C.
#pragma once

#include <property/property.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Opens the store, sets the property `name` to `number`, reads it and waits until it is stored.
/// Returns the status of the first call that fails.
property_status SetFromC(const char* schema, const char* name, int32_t number, int32_t* read);

#ifdef __cplusplus
}
#endif
