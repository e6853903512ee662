// SPDX-License-Identifier: MIT
// Marks what libpropertyplatform.so exports.
#pragma once

#define PROPERTY_PLATFORM_EXPORT __attribute__((visibility("default")))
