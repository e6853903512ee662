// SPDX-License-Identifier: MIT
// How the program whose instructions are counted and its router talk, beside the frames.
#pragma once

#include <cstdint>

namespace ChangePeer {

// Descriptors that the router finds open: where it listens, what it is told, and where it says by a
// byte that it has read a frame of mails.
constexpr int kListening = 3;
constexpr int kCommands = 4;
constexpr int kReports = 5;

/// Publishes a value of the device, or acknowledges all mails.
struct TSCommand {
  std::int32_t Number = 0;  // of the property
  std::int32_t Value = 0;
};
constexpr std::int32_t kAcknowledge = -1;  // as the number

constexpr char kDevice[] = "02:00:00:00:00:01";

}  // namespace ChangePeer
