// SPDX-License-Identifier: MIT
// Forwards the router's operations to its core.
#include "Platform/Messaging/TCNorvMailRouter.h"

#include <utility>

#include "Platform/Messaging/Router/TCRouterCore.h"
#include "Platform/Messaging/Wire/SocketName.h"

TCNorvMailRouter::TCNorvMailRouter(std::string const& Address)
    : m_Core(std::make_unique<TCRouterCore>(Wire::RouterAddress(Address))) {}

TCNorvMailRouter::TCNorvMailRouter(TCFileDescriptor Listening, std::string const& Address)
    : m_Core(std::make_unique<TCRouterCore>(std::move(Listening), Wire::RouterAddress(Address))) {}

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

void TCNorvMailRouter::SetLimits(TSNorvRouterLimits const& Limits) {
  m_Core->SetLimits(Limits);
}

void TCNorvMailRouter::SetAdmission(TCAdmission Admission) {
  m_Core->get_Acceptor().SetAdmission(std::move(Admission));
}

void TCNorvMailRouter::BringUpToDate(
    std::function<bool(TSNorvMailSender const&)> const& IsConcerned) {
  m_Core->get_Publisher().BringUpToDate(IsConcerned, true);
}

void TCNorvMailRouter::BringUpToDate(TSNorvSenderKey const& Sender) {
  m_Core->get_Publisher().BringUpToDate(Sender);
}

std::size_t TCNorvMailRouter::get_ConnectionCount() const {
  return m_Core->get_ConnectionCount();
}

bool TCNorvMailRouter::IsBehind(pid_t Process) const {
  return m_Core->IsBehind(Process);
}

std::vector<TSNorvSenderKey> TCNorvMailRouter::get_Senders() const {
  return m_Core->get_Senders();
}

std::uint64_t TCNorvMailRouter::get_Epoch() const {
  return m_Core->get_Publisher().get_Position().Epoch;
}

TCNorvEventLoop& TCNorvMailRouter::get_Loop() const {
  return m_Core->get_Loop();
}

std::string const& TCNorvMailRouter::get_Address() const {
  return m_Core->get_Address();
}
