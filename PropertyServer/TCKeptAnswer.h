// SPDX-License-Identifier: MIT
// The encoded values that one starting process after the other asks for.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Messaging/TCNorvMailBody.h"

namespace Property {

/// Keeps an answer while it is true, and only for some time after it was last asked for:
/// processes start together, and a large answer costs as much to encode as to load. A large one is
/// kept in the memory file that is sent. Lives on the loop's thread.
class TCKeptAnswer {
 public:
  using TCBody = std::shared_ptr<TCNorvMailBody const>;

  static constexpr std::chrono::microseconds kUsualTime = std::chrono::seconds(10);

  explicit TCKeptAnswer(TCNorvEventLoop& Loop, std::chrono::microseconds KeepTime = kUsualTime);
  TCKeptAnswer(TCKeptAnswer const&) = delete;
  TCKeptAnswer& operator=(TCKeptAnswer const&) = delete;

  /// The answer, which `Make` makes when there is none. What that throws passes through.
  TCBody Get(std::function<TCBody()> const& Make);
  /// It is no longer true.
  void Drop() { m_Answer.reset(); }

 private:
  std::chrono::microseconds const m_KeepTime;
  TCBody m_Answer;
  TCNorvLoopTimer m_Timer;
};

}  // namespace Property
