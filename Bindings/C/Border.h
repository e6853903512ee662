// SPDX-License-Identifier: MIT
// What every call of the C interface begins and ends with: no exception comes out of it.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include "Bindings/C/TCThreadPart.h"
#include "Bindings/C/property.h"

namespace Property::C {

/// A failure with a number of its own.
class TCBorderFailure : public std::runtime_error {
 public:
  TCBorderFailure(property_status Status, std::string const& Text)
      : std::runtime_error(Text), m_Status(Status) {}

  property_status get_Status() const noexcept { return m_Status; }

 private:
  property_status m_Status;
};

/// Keeps the text of the exception that is being handled for property_last_error() of this thread,
/// and returns its status.
property_status NoteFailure() noexcept;
char const* LastFailure() noexcept;

/// While it lives, the calling thread is not cancelled: that would be an exception of its own kind.
class TCNoCancel {
 public:
  TCNoCancel() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_Former); }
  ~TCNoCancel() { pthread_setcancelstate(m_Former, nullptr); }
  TCNoCancel(TCNoCancel const&) = delete;
  TCNoCancel& operator=(TCNoCancel const&) = delete;

 private:
  int m_Former = PTHREAD_CANCEL_ENABLE;
};

/// Runs the inside of a call. `Action` returns nothing, or a status that is no failure of the call.
template <class TAction>
property_status Cross(TAction const& Action) noexcept {
  TCNoCancel const Whole;
  try {
    TCThreadPart::EndAbandoned();
    Action();
    return PROPERTY_OK;
  } catch (...) {
    return NoteFailure();
  }
}

/// Throws TCBorderFailure when it is null.
void Require(void const* Argument, char const* Name);
/// Throws TCBorderFailure unless it is -1 or more.
void RequireTimeout(int Timeout);

/// A copy for the program, which gives it back by property_free.
void GiveText(std::string const& Text, char** Copy, std::size_t* Length);

}  // namespace Property::C
