// SPDX-License-Identifier: MIT
// Bytes that nobody can foresee.
#pragma once

#include <cstddef>

/// Fills `Size` bytes at `Data`, at most 256. Throws TCException when the system has none to give.
void DrawRandomBytes(void* Data, std::size_t Size);
