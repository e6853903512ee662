// SPDX-License-Identifier: MIT
// Draws from the system's own source.
#include "Platform/Utility/RandomBytes.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>

#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Utility/RandomBytes";

}  // namespace

// So few bytes come whole, or, while the system starts and a signal is handled, not at all.
void DrawRandomBytes(void* Data, std::size_t Size) {
  ssize_t Count = -1;
  do {
    Count = getrandom(Data, Size, 0);
  } while (Count < 0 && errno == EINTR);
  if (Count < 0 || static_cast<std::size_t>(Count) != Size) {
    throw TCException(kSource, __LINE__)
        .Format("cannot draw random bytes: %s", Count < 0 ? std::strerror(errno) : "too many");
  }
}
