// SPDX-License-Identifier: MIT
// Requests and mails to the property server, and what their failures mean.
#include "ServerClient/TCServerConnection.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Messaging/TCNorvServiceName.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "ServerClient/TCServerFailure.h"

namespace Property {
namespace {

constexpr int kGreetingTime = 1000;  // milliseconds, of a server that takes the connection
constexpr int kGlanceTime = 20;      // until it is known that there is none

TCNorvServiceName const& Server() {
  static auto const& Name =
      *new TCNorvServiceName(TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, ""));
  return Name;
}

}  // namespace

class TCServerConnection::TCProxy : public TCNorvServiceProxy {
 public:
  explicit TCProxy(TSListener Listener) : m_Listener(std::move(Listener)) {}
  TCProxy(TCProxy const&) = delete;
  TCProxy& operator=(TCProxy const&) = delete;
  ~TCProxy() override { Close(); }

  void OnServiceMail(TCNorvMessage const& Mail) override {
    if (m_Listener.OnMail) {
      m_Listener.OnMail(Mail);
    }
  }
  void OnMailRouterState(bool Reachable) override {
    if (m_Listener.OnState) {
      m_Listener.OnState(Reachable);
    }
  }

 private:
  TSListener const m_Listener;
};

TCServerConnection::TCServerConnection(std::string const& Address) : m_Address(Address) {}

TCServerConnection::~TCServerConnection() = default;

void TCServerConnection::SetListener(TSListener Listener) {
  m_Listener = std::move(Listener);
}

// A proxy takes its router from the environment when it is made.
TCServerConnection::TCProxy& TCServerConnection::Proxy() {
  if (m_Proxy == nullptr) {
    setenv(kRouterAddressVariable, m_Address.c_str(), 1);
    m_Proxy = std::make_unique<TCProxy>(m_Listener);
  }
  return *m_Proxy;
}

void TCServerConnection::ThrowUnreached() {
  std::string const Refusal = Proxy().get_Refusal();
  if (!Refusal.empty()) {
    throw TCServerFailure(TEServerFailure::eRefused,
                          "the property server at " + m_Address + " refuses: " + Refusal);
  }
  throw TCServerFailure(TEServerFailure::eNoServer,
                        "no property server at " + m_Address + " (" + Proxy().get_Failure() +
                            "); start it or give its address with --address");
}

void TCServerConnection::Reach() {
  if (!Proxy().WaitForMailRouter(m_ReachTime)) {
    ThrowUnreached();
  }
}

// The proxy would try again and again; the first failure is enough here.
bool TCServerConnection::IsThere() {
  int const Longest = std::min(kGreetingTime, m_ReachTime);
  for (int Waited = 0; Waited < Longest && Proxy().get_Failure().empty(); Waited += kGlanceTime) {
    if (Proxy().WaitForMailRouter(kGlanceTime)) {
      return true;
    }
  }
  return false;
}

bool TCServerConnection::IsReachedWithin(int Milliseconds) {
  return Proxy().WaitForMailRouter(Milliseconds);
}

void TCServerConnection::Ask(TCNorvMessage& Mail) {
  if (std::exchange(m_HoldsNext, false)) {
    m_Answer.emplace(Proxy(), Mail);
  }
  Reach();
  if (Proxy().SendAndWait(Server(), Mail, m_AnswerTime)) {
    return;
  }
  std::string const Refusal = Proxy().get_Refusal();
  if (!Refusal.empty()) {
    throw TCServerFailure(TEServerFailure::eRefused, "the property server refuses: " + Refusal);
  }
  throw TCServerFailure(TEServerFailure::eTimeOut,
                        "the property server at " + m_Address + " does not answer");
}

void TCServerConnection::Send(TSNorvMailContent const& Content) {
  Reach();
  Proxy().Post(Server(), Content);
}

void TCServerConnection::WaitUntilStored(int Milliseconds) {
  if (!Proxy().WaitForAcknowledgements(Milliseconds)) {
    throw TCServerFailure(TEServerFailure::eTimeOut,
                          "the property server at " + m_Address +
                              " has not stored the change in time; it may still do so: look at the "
                              "values before trying again");
  }
}

// Ends the answer that is in hand, also where asking for it has failed.
struct TCServerConnection::TSAnswerEnd {
  TCServerConnection& Connection;
  ~TSAnswerEnd() {
    Connection.m_HoldsNext = false;
    Connection.m_Answer.reset();
  }
};

void TCServerConnection::Follow(TCNorvMailClassID const& MailClass,
                                std::function<void()> const& Load) {
  Reach();
  m_HoldsNext = true;
  TSAnswerEnd const End{*this};
  Load();
  Proxy().ConnectService(MailClass, 0, false);
}

void TCServerConnection::Close() {
  Proxy().Close();
}

}  // namespace Property
