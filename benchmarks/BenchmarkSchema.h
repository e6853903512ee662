// SPDX-License-Identifier: MIT
// The schema that all benchmarks use: one device-linked container with many integer fields.
#pragma once

#include <vector>

#include "CommonProperties/TCPropertyID.h"

/// Makes `Count` integer fields under one container; once a process.
std::vector<Property::TCPropertyID*> MakeBenchmarkSchema(int Count);
