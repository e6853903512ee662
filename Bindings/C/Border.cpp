// SPDX-License-Identifier: MIT
// Turns exceptions into statuses and texts, and texts into memory that C gives back.
#include "Bindings/C/Border.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>

#include "Platform/Utility/PrintableText.h"

namespace Property::C {

namespace {

// As it is, without a destructor: it is there as long as the thread, in its last handlers, too.
constexpr std::size_t kLongestFailure = 4096 + 256;  // what PrintableLine leaves, and its end
thread_local char t_LastFailure[kLongestFailure];

void Keep(std::string_view Text) noexcept {
  std::size_t const Length = std::min(Text.size(), kLongestFailure - 1);
  Text.copy(t_LastFailure, Length);
  t_LastFailure[Length] = '\0';
}

property_status Keep(property_status Status, char const* Text) noexcept {
  try {
    Keep(PrintableLine(Text));
    return Status;
  } catch (...) {
    Keep("memory has run out");
    return PROPERTY_NO_MEMORY;
  }
}

}  // namespace

property_status NoteFailure() noexcept {
  try {
    throw;
  } catch (TCBorderFailure const& Failure) {
    return Keep(Failure.get_Status(), Failure.what());
  } catch (std::bad_alloc const&) {
    return Keep(PROPERTY_NO_MEMORY, "memory has run out");
  } catch (std::exception const& Failure) {
    return Keep(PROPERTY_FAILED, Failure.what());
  } catch (...) {
    return Keep(PROPERTY_FAILED, "something was thrown that is no exception");
  }
}

char const* LastFailure() noexcept {
  return t_LastFailure;
}

void Require(void const* Argument, char const* Name) {
  if (Argument == nullptr) {
    throw TCBorderFailure(PROPERTY_BAD_ARGUMENT, std::string(Name) + " is a null pointer");
  }
}

void RequireTimeout(int Timeout) {
  if (Timeout < -1) {
    throw TCBorderFailure(PROPERTY_BAD_ARGUMENT,
                          "a time-out of " + std::to_string(Timeout) + " ms: -1 is without limit");
  }
}

void GiveText(std::string const& Text, char** Copy, std::size_t* Length) {
  Require(Copy, "text");
  auto* const Memory = static_cast<char*>(std::malloc(Text.size() + 1));
  if (Memory == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(Memory, Text.c_str(), Text.size() + 1);
  *Copy = Memory;
  if (Length != nullptr) {
    *Length = Text.size();
  }
}

}  // namespace Property::C
