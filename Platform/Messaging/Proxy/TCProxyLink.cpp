// SPDX-License-Identifier: MIT
// Connects to the router, greets it, and begins again when it is lost.
#include "Platform/Messaging/Proxy/TCProxyLink.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Messaging/Proxy/GuardedCall.h"
#include "Platform/Messaging/Wire/SocketName.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/TCMACAddress.h"

namespace {

constexpr std::chrono::milliseconds kFirstRetryDelay{5};
constexpr std::chrono::milliseconds kLongestRetryDelay{200};

}  // namespace

TCProxyLink::TCProxyLink(std::string Address, std::string Identity)
    : m_Address(std::move(Address)),
      m_Identity(std::move(Identity)),
      m_Name(Wire::SocketName(m_Address, "no mail router can be at")),
      m_Wait(m_Address),
      m_RetryDelay(kFirstRetryDelay) {}

void TCProxyLink::Connect() {
  try {
    m_Socket = Wire::NewFrameSocket();
    if (connect(m_Socket.get(), reinterpret_cast<sockaddr const*>(&m_Name), sizeof(m_Name)) != 0) {
      m_Wait.Fail(FailureText::OfError(errno));
      Drop();
      return;
    }
    Greet();
    m_State = TEState::eGreeting;
  } catch (...) {
    Guarded("mail router", [this] { m_Wait.Fail(FailureText::OfCaught()); });
    Drop();
  }
}

void TCProxyLink::Greet() {
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eHello;
  Head.Version = Wire::kProtocolVersion;
  Send(Wire::TCFrame(Head, Wire::TextMail({m_Identity, TCMACAddress::Own("").get_AsString(':')})));
}

void TCProxyLink::OnWelcome() {
  m_State = TEState::eReady;
  m_RetryDelay = kFirstRetryDelay;
  m_Wait.End();
}

// Of no use until another router takes the place of this one and ends the connection.
void TCProxyLink::OnRefused(std::string Reason) {
  m_State = TEState::eRefused;
  m_Wait.Refuse(std::move(Reason));
}

void TCProxyLink::Drop() {
  if (m_State == TEState::eGreeting) {
    Guarded("mail router",
            [this] { m_Wait.Fail("it ends the connection without answering the greeting"); });
  }
  if (m_State == TEState::eReady) {
    m_Wait.Begin();
  }
  m_State = TEState::eDown;
  m_IsBlocked = false;
  m_Socket = TCFileDescriptor();
  m_NextAttempt = TCClock::now() + m_RetryDelay;
  m_RetryDelay = std::min(m_RetryDelay * 2, kLongestRetryDelay);
}

void TCProxyLink::Close() {
  m_State = TEState::eDown;
  m_Socket = TCFileDescriptor();
}

bool TCProxyLink::Send(Wire::TCFrame const& Frame) {
  Wire::TETransfer const Result = Wire::Send(m_Socket.get(), Frame);
  m_IsBlocked = m_IsBlocked || Result == Wire::TETransfer::eLater;
  return Result == Wire::TETransfer::eDone;
}

Wire::TETransfer TCProxyLink::Receive() {
  return m_Socket.get() < 0 ? Wire::TETransfer::eEnded : m_Receiver.Receive(m_Socket.get(), true);
}
