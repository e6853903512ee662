// SPDX-License-Identifier: MIT
// Forwards the proxy's operations to its connection and mails to their handlers.
#include "Platform/Messaging/TCNorvServiceProxy.h"

#include <utility>

#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCNorvMailFunctions.h"
#include "Platform/Messaging/TCNorvProxyConnection.h"

namespace {

thread_local TCNorvServiceProxy::TCAnswerInHand* ThreadAnswer = nullptr;

}  // namespace

TCNorvServiceProxy::TCNorvServiceProxy()
    : m_Connection(std::make_shared<TCNorvProxyConnection>(*this)) {}

TCNorvServiceProxy::~TCNorvServiceProxy() {
  m_Connection->Close();
}

bool TCNorvServiceProxy::WaitForMailRouter(int Timeout) {
  return m_Connection->WaitForRouter(Timeout);
}

void TCNorvServiceProxy::SetMailParse(TCNorvBasicMailFunctions& Functions) {
  m_MailFunctions = &Functions;
}

void TCNorvServiceProxy::ConnectService(TCNorvMailClassID const& MailClass, int /*Reserved*/,
                                        bool /*ReservedFlag*/) {
  m_Connection->Subscribe(MailClass);
}

bool TCNorvServiceProxy::SendAndWait(TCNorvServiceName const& Service, TCNorvMessage& Mail,
                                     int const& Timeout) {
  TSNorvMailContent Content = Mail.get_Content();
  bool const Held = ThreadAnswer != nullptr && ThreadAnswer->m_Connection == m_Connection &&
                    !ThreadAnswer->m_InHand;
  std::string const Mailbox = MailWire::MailboxPath(Service.get_Mailbox());
  if (!m_Connection->Exchange(Mailbox, Content, Timeout, Held)) {
    return false;
  }
  if (Held) {
    ThreadAnswer->m_InHand = true;
  }
  Mail.SetContent(Content);
  return true;
}

TCNorvServiceProxy::TCAnswerInHand::TCAnswerInHand(TCNorvServiceProxy& Proxy)
    : m_Connection(Proxy.m_Connection), m_Outer(std::exchange(ThreadAnswer, this)) {}

TCNorvServiceProxy::TCAnswerInHand::~TCAnswerInHand() {
  ThreadAnswer = m_Outer;
  if (m_InHand) {
    m_Connection->EndAnswer();
  }
}

void TCNorvServiceProxy::MarkChange(TCNorvServiceName const& Service,
                                    TCNorvMailClassID const& MailClass,
                                    std::vector<std::string> Keys) {
  m_Connection->MarkChange(MailWire::MailboxPath(Service.get_Mailbox()), MailClass,
                           std::move(Keys));
}

void TCNorvServiceProxy::ForgetMark() {
  m_Connection->ForgetMark();
}

bool TCNorvServiceProxy::IsOvertaken(std::string const& Key) const {
  return m_Connection->IsOvertaken(Key);
}

bool TCNorvServiceProxy::IsAnyOvertaken() const {
  return m_Connection->IsAnyOvertaken();
}

bool TCNorvServiceProxy::Post(TCNorvServiceName const& Service,
                              TSNorvMailContent const& Content) const {
  return m_Connection->Post(MailWire::MailboxPath(Service.get_Mailbox()), Content);
}

bool TCNorvServiceProxy::WaitForAcknowledgements(int Timeout) {
  return m_Connection->WaitForAcknowledgements(Timeout);
}

void TCNorvServiceProxy::ProcessProxy(int Limit, bool Wait) {
  for (int Delivered = 0; Limit < 0 || Delivered < Limit; ++Delivered) {
    if (!m_Connection->DeliverMail(Wait && Delivered == 0)) {
      return;
    }
  }
}

void TCNorvServiceProxy::Close() {
  m_Connection->Close();
}

void TCNorvServiceProxy::OnMailRouterState(bool /*Reachable*/) {}

void TCNorvServiceProxy::OnServiceMail(TCNorvMessage const& Mail) {
  if (m_MailFunctions != nullptr) {
    m_MailFunctions->Parse(Mail);
  }
}

void TCNorvServiceProxy::OnProxySignal() {
  ProcessProxy(-1, false);
}
