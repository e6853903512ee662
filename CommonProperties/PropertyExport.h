// SPDX-License-Identifier: MIT
// Marks what libproperty.so exports.
#pragma once

#define PROPERTY_EXPORT __attribute__((visibility("default")))
