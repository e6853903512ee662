// SPDX-License-Identifier: MIT
// The encoded values that one starting process after the other asks for.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/TCNorvMailBody.h"

namespace Property {

/// Keeps an answer while it is true, and only for some time after it was last asked for:
/// processes start together, and a large answer costs as much to encode as to load. A large one is
/// kept in the memory file that is sent. Lives on the loop's thread.
class TCKeptAnswer {
 public:
  using TCBody = std::shared_ptr<TCNorvMailBody const>;

  static constexpr std::uint64_t kUsualTime = 10000000;  // microseconds

  /// Throws TCException when the loop takes no more sources.
  explicit TCKeptAnswer(sd_event* Event, std::uint64_t KeepTime = kUsualTime);
  TCKeptAnswer(TCKeptAnswer const&) = delete;
  TCKeptAnswer& operator=(TCKeptAnswer const&) = delete;

  /// The answer, which `Make` makes when there is none. What that throws passes through.
  TCBody Get(std::function<TCBody()> const& Make);
  /// It is no longer true.
  void Drop() { m_Answer.reset(); }

 private:
  static int OnTime(sd_event_source* Source, std::uint64_t Time, void* Answer);

  std::uint64_t const m_KeepTime;
  TCBody m_Answer;
  TCEventSource m_Timer;
};

}  // namespace Property
