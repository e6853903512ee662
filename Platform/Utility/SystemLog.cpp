// SPDX-License-Identifier: MIT
// Warnings and errors for the system log.
#include "Platform/Utility/SystemLog.h"

#include <syslog.h>

#include <atomic>
#include <cstdarg>
#include <new>

#include "Platform/Utility/FormatText.h"

namespace {

// Null: syslog(3). Constant-initialised, so that logging works at any time.
std::atomic<TSyslogSink> LogSink{nullptr};

__attribute__((format(printf, 2, 0))) void Log(int Priority, char const* Text,
                                               std::va_list Arguments) {
  try {
    std::string const Line = FormatText(Text, Arguments);
    TSyslogSink const Sink = LogSink.load(std::memory_order_acquire);
    if (Sink != nullptr) {
      Sink(Priority, Line);
    } else {
      syslog(LOG_USER | Priority, "%s", Line.c_str());
    }
  } catch (std::bad_alloc const&) {
    syslog(LOG_USER | Priority, "%s", Text);  // better than nothing, and than failing for it
  }
}

}  // namespace

void SyslogWarning(char const* Text, ...) {
  std::va_list Arguments;
  va_start(Arguments, Text);
  Log(LOG_WARNING, Text, Arguments);
  va_end(Arguments);
}

void SyslogError(char const* Text, ...) {
  std::va_list Arguments;
  va_start(Arguments, Text);
  Log(LOG_ERR, Text, Arguments);
  va_end(Arguments);
}

TSyslogSink SetSyslogSink(TSyslogSink Sink) noexcept {
  return LogSink.exchange(Sink, std::memory_order_acq_rel);
}
