// SPDX-License-Identifier: MIT
// Warnings and errors for the system log.
#include "Platform/Utility/SystemLog.h"

#include <syslog.h>

#include <atomic>
#include <cstdarg>
#include <new>
#include <utility>

#include "Platform/Utility/ForkHandlers.h"
#include "Platform/Utility/FormatText.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCCriticalSection.h"

namespace {

// Null: syslog(3). Constant-initialised, so that logging works at any time.
std::atomic<TSyslogSink> LogSink{nullptr};

// Keeps a process from forking while syslog(3) holds a lock of its own, for good in the child.
TCCriticalSection WritingSection;

void WriteLine(int Priority, char const* Line) {
  static bool const Watching = SetForkHandlers(
      TEForkPlace::eLog, {[]() PROPERTY_UNCHECKED_LOCKING { WritingSection.Enter(); },
                          []() PROPERTY_UNCHECKED_LOCKING { WritingSection.Leave(); },
                          []() PROPERTY_UNCHECKED_LOCKING { WritingSection.LeaveInChild(); }});
  static_cast<void>(Watching);
  TCCriticalSectionLock const Lock(WritingSection);
  syslog(LOG_USER | Priority, "%s", Line);
}

__attribute__((format(printf, 2, 0))) void Log(int Priority, char const* Text,
                                               std::va_list Arguments) {
  try {
    std::string Line = FormatText(Text, Arguments);
    TSyslogSink const Sink = LogSink.load(std::memory_order_acquire);
    if (Sink != nullptr) {
      Sink(Priority, PrintableText(std::move(Line)));
    } else {
      WriteLine(Priority, PrintableLine(std::move(Line)).c_str());
    }
  } catch (std::bad_alloc const&) {
    WriteLine(Priority, Text);  // better than nothing, and than failing for it
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
