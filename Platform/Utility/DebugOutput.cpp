// SPDX-License-Identifier: MIT
// Debug traces by channel.
#include "Platform/Utility/DebugOutput.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <type_traits>

#include "Platform/Utility/FormatText.h"
#include "Platform/Utility/PrintableText.h"

static_assert(std::is_trivially_destructible_v<TCDebugChannel>,
              "static objects trace until the process ends");

TCDebugChannel DEBUG_PROPERTY("PROPERTY");
TCDebugChannel DEBUG_COMMON("COMMON");

namespace {

std::atomic<TDebugSink> DebugSink{nullptr};

// Whether the comma-separated `List` holds `Name` or "all".
bool ListNames(std::string_view List, std::string_view Name) noexcept {
  for (;;) {
    std::size_t const Comma = List.find(',');
    std::string_view const Entry = List.substr(0, Comma);
    if (Entry == Name || Entry == "all") {
      return true;
    }
    if (Comma == std::string_view::npos) {
      return false;
    }
    List.remove_prefix(Comma + 1);
  }
}

void WriteToStandardError(TCDebugChannel const& Channel, std::string const& Text) {
  // One write, so that lines of several threads and processes stay whole.
  std::string const Line = std::string(Channel.get_Name()) + ": " + Text + "\n";
  std::fwrite(Line.data(), 1, Line.size(), stderr);
}

// getenv is no partner for a setenv on another thread. While the library is loaded there is
// usually one thread only, so the library's channels ask now, if no static object made them ask
// before. The C library's environment is complete before any constructor runs.
[[maybe_unused]] bool const AskedAtLoad[] = {DEBUG_PROPERTY.get_Enabled(),
                                             DEBUG_COMMON.get_Enabled()};

}  // namespace

bool TCDebugChannel::AskEnvironment() const noexcept {
  char const* const List = secure_getenv("PROPERTY_DEBUG");
  TEState const Found = List != nullptr && ListNames(List, m_Name) ? eOn : eOff;
  TEState State = eNotAsked;
  // A set_Enabled that came in between stands.
  if (m_State.compare_exchange_strong(State, Found, std::memory_order_relaxed)) {
    State = Found;
  }
  return State == eOn;
}

void SendDebugOutput(TCDebugChannel const& Channel, char const* Text, ...) {
  if (!IsDebugLevel(Channel)) {
    return;
  }
  std::va_list Arguments;
  va_start(Arguments, Text);
  std::string const Trace = PrintableText(FormatText(Text, Arguments));
  va_end(Arguments);
  TDebugSink const Sink = DebugSink.load(std::memory_order_acquire);
  (Sink != nullptr ? Sink : WriteToStandardError)(Channel, Trace);
}

TDebugSink SetDebugSink(TDebugSink Sink) noexcept {
  return DebugSink.exchange(Sink, std::memory_order_acq_rel);
}
