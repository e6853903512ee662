// SPDX-License-Identifier: MIT
// printf into a string, for the functions of this library that take a format.
#pragma once

#include <cstdarg>
#include <string>

/// The printf-style text; the format itself when it can not be printed.
std::string FormatText(char const* Text, std::va_list Arguments)
    __attribute__((format(printf, 1, 0)));
