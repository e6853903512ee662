// SPDX-License-Identifier: MIT
// Texts from outside in logs and on terminals.
#pragma once

#include <string>

#include "Platform/PlatformExport.h"

/// `Text` on one line that no terminal obeys: control characters, bytes that are no valid UTF-8,
/// and what separates lines or turns the direction of writing become `\n`, `\r`, `\t` or `\xHH`,
/// byte by byte. Everything else stays as it is, a backslash too: the result is for reading, not
/// for getting the text back. Takes no memory when there is nothing to replace.
PROPERTY_PLATFORM_EXPORT std::string PrintableText(std::string Text);

/// As PrintableText(), and of a text that is too long for a log only the beginning, about 4 KiB,
/// and how many bytes more it has.
PROPERTY_PLATFORM_EXPORT std::string PrintableLine(std::string Text);
