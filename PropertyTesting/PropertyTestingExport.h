// SPDX-License-Identifier: MIT
// Marks what libpropertytesting.so exports.
#pragma once

#define PROPERTY_TESTING_EXPORT __attribute__((visibility("default")))
