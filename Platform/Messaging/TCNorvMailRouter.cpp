// SPDX-License-Identifier: MIT
// Forwards the router's operations to its core.
#include "Platform/Messaging/TCNorvMailRouter.h"

#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCRouterCore.h"

TCNorvMailRouter::TCNorvMailRouter(std::string const& Address)
    : m_Core(std::make_unique<TCRouterCore>(MailWire::RouterAddress(Address))) {}

TCNorvMailRouter::~TCNorvMailRouter() = default;

void TCNorvMailRouter::Run() {
  m_Core->Run();
}

void TCNorvMailRouter::Stop() {
  m_Core->Stop();
}

void TCNorvMailRouter::Execute(std::function<void()> const& Function) {
  m_Core->Execute(Function);
}

sd_event* TCNorvMailRouter::get_Event() const {
  return m_Core->get_Event();
}

std::string const& TCNorvMailRouter::get_Address() const {
  return m_Core->get_Address();
}
