// SPDX-License-Identifier: MIT
// Keeps an answer for a while.
#include "PropertyServer/TCKeptAnswer.h"

#include "Platform/Messaging/MailWire.h"
#include "Platform/Utility/TCException.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCKeptAnswer";
constexpr std::uint64_t kForgetAccuracy = 1000000;  // microseconds

}  // namespace

TCKeptAnswer::TCKeptAnswer(sd_event* Event, std::uint64_t KeepTime) : m_KeepTime(KeepTime) {
  sd_event_source* Source = nullptr;
  if (sd_event_add_time(Event, &Source, CLOCK_MONOTONIC, 0, kForgetAccuracy, OnTime, this) < 0) {
    throw TCException(kSource, __LINE__).Format("cannot prepare the keeping of answers");
  }
  m_Timer.reset(Source);
  sd_event_source_set_enabled(Source, SD_EVENT_OFF);
}

TCKeptAnswer::TCBody TCKeptAnswer::Get(std::function<TCBody()> const& Make) {
  if (!m_Answer) {
    TCBody const Made = Make();
    m_Answer =
        Made->get_Size() > MailWire::kInlineLimit ? TCNorvMailBody::InMemoryFile(*Made) : Made;
  }
  sd_event_source_set_time_relative(m_Timer.get(), m_KeepTime);
  sd_event_source_set_enabled(m_Timer.get(), SD_EVENT_ONESHOT);
  return m_Answer;
}

int TCKeptAnswer::OnTime(sd_event_source* /*Source*/, std::uint64_t /*Time*/, void* Answer) {
  static_cast<TCKeptAnswer*>(Answer)->Drop();
  return 0;
}

}  // namespace Property
