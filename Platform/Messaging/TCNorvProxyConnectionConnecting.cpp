// SPDX-License-Identifier: MIT
// Connects to the router, greets it, and begins again when it is lost.
#include <algorithm>
#include <utility>

#include "Platform/Messaging/GuardedCall.h"
#include "Platform/Messaging/TCNorvProxyConnection.h"
#include "Platform/Utility/TCMACAddress.h"

namespace {

constexpr int kBatch = 256;  // messages from the router that are taken at a time
constexpr std::chrono::milliseconds kLongestRetryDelay{200};

}  // namespace

void TCNorvProxyConnection::Connect() {
  sd_bus* Bus = nullptr;
  int Result = sd_bus_new(&Bus);
  TCBusHandle Handle(Bus);
  if (Result >= 0) {
    Result = sd_bus_set_address(Bus, m_Address.c_str());
  }
  if (Result >= 0) {
    Result = sd_bus_negotiate_fds(Bus, 1);
  }
  if (Result >= 0) {
    Result = sd_bus_add_filter(Bus, nullptr, OnFilter, this);
  }
  if (Result >= 0) {
    Result = sd_bus_start(Bus);
  }
  m_Bus = std::move(Handle);
  bool IsGreeting = false;
  if (Result >= 0) {
    Guarded("mail router", [&] {
      Greet();
      IsGreeting = true;
    });
  }
  if (!IsGreeting) {
    Guarded("mail router", [&] { m_RouterWait.Fail(MailWire::ErrorText(Result)); });
    Disconnect();
  }
}

void TCNorvProxyConnection::Greet() {
  TCBusMessage const Hello =
      NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kHello);
  MailWire::Require(
      sd_bus_message_append(Hello.get(), "sus", m_Identity.c_str(), MailWire::kProtocolVersion,
                            TCMACAddress::Own("").get_AsString(':').c_str()),
      "greet");
  MailWire::Require(
      sd_bus_call_async(m_Bus.get(), nullptr, Hello.get(), OnGreeted, this, UINT64_MAX), "greet");
}

int TCNorvProxyConnection::OnGreeted(sd_bus_message* Message, void* Connection,
                                     sd_bus_error* /*Error*/) {
  auto& Self = *static_cast<TCNorvProxyConnection*>(Connection);
  if (sd_bus_message_is_method_error(Message, SD_BUS_ERROR_NO_REPLY) > 0) {
    return 0;  // the connection is gone; the next one greets again
  }
  if (sd_bus_message_is_method_error(Message, nullptr) > 0) {
    Guarded("mail router",
            [&] { Self.m_RouterWait.Refuse(sd_bus_message_get_error(Message)->message); });
    return 0;  // of no use until another router takes its place and ends the connection
  }
  std::uint32_t Version = MailWire::kTypedVersion;
  Guarded("mail router", [&] {
    MailWire::RequireSound(sd_bus_message_read_basic(Message, 'u', &Version), "read a greeting");
  });
  Self.m_Form = MailWire::FormOf(Version);
  Self.m_Ready = true;
  Self.m_RouterWait.End();
  Self.m_RetryDelay = kFirstRetryDelay;
  Guarded("mail router", [&] { Self.Signal(TEEvent::eReachable); });
  Self.Transmit();
  return 0;
}

void TCNorvProxyConnection::ProcessBus() {
  // What is to be delivered is delivered before it is asked for more; mostly there is none. And no
  // more than a batch, so that a stream of mails keeps nobody from the mutex.
  bool const Idle = m_Events.empty();
  int Result = 1;
  for (int Count = 0; Result > 0 && !m_ReadOn && Count < kBatch; ++Count) {
    Result = sd_bus_process(m_Bus.get(), nullptr);
    m_ReadOn = Result > 0 && Idle && !m_Events.empty();
  }
  if (Result < 0 || sd_bus_is_open(m_Bus.get()) <= 0) {
    if (!m_Ready && m_RouterWait.get_Refusal().empty()) {
      Guarded("mail router", [this] {
        m_RouterWait.Fail("it ends the connection without answering the greeting");
      });
    }
    Disconnect();
  }
}

void TCNorvProxyConnection::Disconnect() {
  m_Bus.reset();
  m_HeldUntil.reset();
  m_RetryAt.reset();
  m_ReadOn = false;
  for (TSExchange* Exchange : m_Exchanges) {
    Exchange->Reply.reset();
  }
  for (auto& [Mailbox, Outbox] : m_Outboxes) {
    Outbox.Untransmitted = 0;
  }
  for (auto& [Interface, Subscription] : m_Subscriptions) {
    Subscription.Requested = false;
    Subscription.Missing = false;
  }
  m_NextAttempt = TCClock::now() + m_RetryDelay;
  m_RetryDelay = std::min(m_RetryDelay * 2, kLongestRetryDelay);
  if (m_Ready) {
    m_Ready = false;
    m_RouterWait.Begin();
    Guarded("mail router", [this] { Signal(TEEvent::eLost); });
  }
}

TCBusMessage TCNorvProxyConnection::NewCall(std::string const& Path, std::string const& Interface,
                                            char const* Member) {
  sd_bus_message* Message = nullptr;
  MailWire::Require(sd_bus_message_new_method_call(m_Bus.get(), &Message, nullptr, Path.c_str(),
                                                   Interface.c_str(), Member),
                    "make a call");
  return TCBusMessage(Message);
}
