// SPDX-License-Identifier: MIT
// Debug traces by channel, switched on by the environment variable PROPERTY_DEBUG.
//
// PROPERTY_DEBUG holds channel names with commas between them ("PROPERTY,COMMON") or "all".
// Channels are constant-initialised: static objects of any file may trace in their constructors
// and destructors. A channel asks the environment once, at its first use; the library's own
// channels do so at the latest while the library is loaded, when no other thread can be changing
// the environment yet.
#pragma once

#include <atomic>
#include <string>

#include "Platform/PlatformExport.h"

/// A named switch for traces. `Name` is kept, not copied: give it a literal.
/// All operations are safe on every thread.
class PROPERTY_PLATFORM_EXPORT TCDebugChannel {
 public:
  explicit constexpr TCDebugChannel(char const* Name) noexcept : m_Name(Name) {}
  TCDebugChannel(TCDebugChannel const&) = delete;
  TCDebugChannel& operator=(TCDebugChannel const&) = delete;

  /// Overrides the environment.
  void set_Enabled(bool Enabled) noexcept {
    m_State.store(Enabled ? eOn : eOff, std::memory_order_relaxed);
  }

  char const* get_Name() const noexcept { return m_Name; }
  /// One relaxed load and one branch while the channel is off.
  bool get_Enabled() const noexcept {
    TEState const State = m_State.load(std::memory_order_relaxed);
    return State != eOff && (State == eOn || AskEnvironment());
  }

 private:
  enum TEState : int { eOff, eOn, eNotAsked };

  bool AskEnvironment() const noexcept;

  char const* m_Name;
  mutable std::atomic<TEState> m_State{eNotAsked};
};

/// Traces of property values and their changes.
extern PROPERTY_PLATFORM_EXPORT TCDebugChannel DEBUG_PROPERTY;
/// Traces of everything else.
extern PROPERTY_PLATFORM_EXPORT TCDebugChannel DEBUG_COMMON;

/// Whether traces of `Channel` are wanted. Ask before computing what only a trace needs.
inline bool IsDebugLevel(TCDebugChannel const& Channel) noexcept {
  return Channel.get_Enabled();
}
/// Writes the printf-style text as one line "NAME: text" to the standard error stream, or hands it
/// to the sink. Does nothing while the channel is off. Control characters in it and bytes that are
/// no UTF-8 become `\n`, `\r`, `\t` or `\xHH`.
PROPERTY_PLATFORM_EXPORT void SendDebugOutput(TCDebugChannel const& Channel, char const* Text, ...)
    __attribute__((format(printf, 2, 3)));

/// Takes a formatted trace, without name and line end, on the tracing thread.
typedef void (*TDebugSink)(TCDebugChannel const& Channel, std::string const& Text);
/// Sends the traces to `Sink`, or to the standard error stream again when it is null, and returns
/// the former sink. A trace that is under way on another thread may still reach that one.
PROPERTY_PLATFORM_EXPORT TDebugSink SetDebugSink(TDebugSink Sink) noexcept;
