// SPDX-License-Identifier: MIT
// Warnings and errors for the system log.
// Usable at any time, also before and after this library's static objects live, on every thread.
// Where memory is lacking only the text as it is given is logged.
// A line stays one, and harmless to who reads it on a terminal, whatever the texts in it hold:
// control characters and bytes that are no UTF-8 become \n, \r, \t or \xHH. Of a line for the
// system log that is longer than about 4 KiB only the beginning is logged, and how much is missing.
#pragma once

#include <string>

#include "Platform/PlatformExport.h"

PROPERTY_PLATFORM_EXPORT void SyslogWarning(char const* Text, ...)
    __attribute__((format(printf, 1, 2)));
PROPERTY_PLATFORM_EXPORT void SyslogError(char const* Text, ...)
    __attribute__((format(printf, 1, 2)));

/// Takes a formatted line, whole; `Priority` is LOG_WARNING or LOG_ERR. Called on the logging
/// thread, on several at once when several log.
typedef void (*TSyslogSink)(int Priority, std::string const& Text);
/// Sends the lines to `Sink` in place of syslog(3), or to syslog(3) again when it is null, and
/// returns the former sink. A line that is under way on another thread may still reach that one.
PROPERTY_PLATFORM_EXPORT TSyslogSink SetSyslogSink(TSyslogSink Sink) noexcept;
