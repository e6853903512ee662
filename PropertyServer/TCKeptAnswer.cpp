// SPDX-License-Identifier: MIT
// Keeps an answer for a while.
#include "PropertyServer/TCKeptAnswer.h"

#include <ctime>

#include "Platform/Messaging/Wire/Frame.h"

namespace Property {

TCKeptAnswer::TCKeptAnswer(TCNorvEventLoop& Loop, std::chrono::microseconds KeepTime)
    : m_KeepTime(KeepTime), m_Timer(Loop, CLOCK_MONOTONIC, [this] { Drop(); }) {}

TCKeptAnswer::TCBody TCKeptAnswer::Get(std::function<TCBody()> const& Make) {
  if (!m_Answer) {
    TCBody const Made = Make();
    m_Answer = Wire::FitsFrame(Made->get_Size()) ? Made : TCNorvMailBody::InMemoryFile(*Made);
  }
  m_Timer.SetAfter(m_KeepTime);
  return m_Answer;
}

}  // namespace Property
