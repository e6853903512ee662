// SPDX-License-Identifier: MIT
// Leaves to the bus library what any peer has to do.
#include "tests/support/BusPeer.h"

#include <cstdint>

namespace {

constexpr std::uint64_t kPatienceMicroseconds = 60000000;

TCBusHandle NewBus() {
  sd_bus* Bus = nullptr;
  EXPECT_GE(sd_bus_new(&Bus), 0);
  EXPECT_GE(sd_bus_negotiate_fds(Bus, 1), 0);
  return TCBusHandle(Bus);
}

}  // namespace

TBusPeer::TBusPeer(std::string const& Address) : m_Bus(NewBus()) {
  EXPECT_GE(sd_bus_set_address(m_Bus.get(), Address.c_str()), 0);
  EXPECT_GE(sd_bus_start(m_Bus.get()), 0);
}

TBusPeer::TBusPeer(TCFileDescriptor Socket) : m_Bus(NewBus()) {
  EXPECT_GE(sd_bus_set_fd(m_Bus.get(), Socket.get(), Socket.get()), 0);
  Socket.Release();
  EXPECT_GE(sd_bus_start(m_Bus.get()), 0);
}

TCBusMessage TBusPeer::NewCall(std::string const& Path, char const* Interface, char const* Member) {
  sd_bus_message* Message = nullptr;
  EXPECT_GE(sd_bus_message_new_method_call(m_Bus.get(), &Message, nullptr, Path.c_str(), Interface,
                                           Member),
            0);
  return TCBusMessage(Message);
}

bool TBusPeer::Send(TCBusMessage const& Message) {
  std::uint64_t Cookie = 0;  // without it no answer is asked for
  return sd_bus_send(m_Bus.get(), Message.get(), &Cookie) >= 0;
}

bool TBusPeer::Flush() {
  return sd_bus_flush(m_Bus.get()) >= 0;
}

std::string TBusPeer::Call(TCBusMessage const& Request) {
  sd_bus_error Error = {nullptr, nullptr, 0};
  std::string Result;
  if (sd_bus_call(m_Bus.get(), Request.get(), kPatienceMicroseconds, &Error, nullptr) < 0) {
    Result = std::string(Error.name) + ": " + Error.message;
  }
  sd_bus_error_free(&Error);
  return Result;
}

TCBusMessage TBusPeer::Ask(TCBusMessage const& Request) {
  sd_bus_message* Answer = nullptr;
  sd_bus_call(m_Bus.get(), Request.get(), kPatienceMicroseconds, nullptr, &Answer);
  return TCBusMessage(Answer);
}

TCBusMessage TBusPeer::HearMessage(bool& Ended) {
  for (;;) {
    sd_bus_message* Message = nullptr;
    int const Processed = sd_bus_process(m_Bus.get(), &Message);
    if (Message != nullptr) {
      return TCBusMessage(Message);
    }
    Ended = Processed < 0;
    if (Ended || (Processed == 0 && sd_bus_wait(m_Bus.get(), kPatienceMicroseconds) <= 0)) {
      return nullptr;
    }
  }
}
