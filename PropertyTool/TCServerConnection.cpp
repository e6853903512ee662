// SPDX-License-Identifier: MIT
// Requests and mails to the property server, and what their failures mean.
#include "PropertyTool/TCServerConnection.h"

#include <cstdlib>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Messaging/TCNorvServiceName.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

constexpr int kReachTime = 2000;    // milliseconds
constexpr int kAnswerTime = 60000;  // what looks through very many values takes its time

TCNorvServiceName const& Server() {
  static auto const& Name =
      *new TCNorvServiceName(TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, ""));
  return Name;
}

}  // namespace

TCServerConnection::TCServerConnection(std::string const& Address) : m_Address(Address) {}

TCServerConnection::~TCServerConnection() = default;

// A proxy takes its router from the environment when it is made.
TCNorvServiceProxy& TCServerConnection::Proxy() {
  if (m_Proxy == nullptr) {
    setenv(kRouterAddressVariable, m_Address.c_str(), 1);
    m_Proxy = std::make_unique<TCNorvServiceProxy>();
  }
  return *m_Proxy;
}

void TCServerConnection::ThrowUnreached() {
  std::string const Refusal = Proxy().get_Refusal();
  if (!Refusal.empty()) {
    throw TCToolFailure(TEExit::eRefused,
                        "the property server at " + m_Address + " refuses: " + Refusal);
  }
  throw TCToolFailure(TEExit::eNoServer, "no property server at " + m_Address + " (" +
                                             Proxy().get_Failure() +
                                             "); start it or give its address with --address");
}

bool TCServerConnection::IsReached() {
  return Proxy().WaitForMailRouter(kReachTime) || !Proxy().get_Refusal().empty();
}

void TCServerConnection::Reach() {
  if (!Proxy().WaitForMailRouter(kReachTime)) {
    ThrowUnreached();
  }
}

void TCServerConnection::Ask(TCNorvMessage& Mail) {
  Reach();
  if (Proxy().SendAndWait(Server(), Mail, kAnswerTime)) {
    return;
  }
  std::string const Refusal = Proxy().get_Refusal();
  if (!Refusal.empty()) {
    throw TCToolFailure(TEExit::eRefused, "the property server refuses: " + Refusal);
  }
  throw TCToolFailure(TEExit::eTimeOut, "the property server at " + m_Address + " does not answer");
}

void TCServerConnection::Send(TCNorvMessage& Mail) {
  Reach();
  Mail.Send(Server(), &Proxy(), 0);
}

void TCServerConnection::WaitUntilStored(int Timeout) {
  if (!Proxy().WaitForAcknowledgements(Timeout)) {
    throw TCToolFailure(TEExit::eTimeOut,
                        "the property server at " + m_Address +
                            " has not stored the change in time; whether it still will is open");
  }
}

}  // namespace Property
