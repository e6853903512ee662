// SPDX-License-Identifier: MIT
// Forwards the proxy's operations to its connection and mails to their handlers.
#include "Platform/Messaging/TCNorvServiceProxy.h"

#include <utility>

#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"
#include "Platform/Messaging/TCNorvMailFunctions.h"

TCNorvServiceProxy::TCNorvServiceProxy()
    : m_Connection(std::make_shared<TCNorvProxyConnection>(*this)) {}

TCNorvServiceProxy::~TCNorvServiceProxy() {
  m_Connection->Close();
}

bool TCNorvServiceProxy::WaitForMailRouter(int Timeout) {
  return m_Connection->WaitForRouter(Timeout);
}

std::string TCNorvServiceProxy::get_Refusal() const {
  return m_Connection->get_Refusal();
}

std::string TCNorvServiceProxy::get_Failure() const {
  return m_Connection->get_Failure();
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
  if (!m_Connection->Exchange(Service.get_Mailbox(), Content, Timeout, Mail.m_InHand)) {
    return false;
  }
  Mail.SetContent(Content);
  return true;
}

TCNorvServiceProxy::TCAnswerInHand::TCAnswerInHand(TCNorvServiceProxy& Proxy, TCNorvMessage& Mail)
    : m_Connection(Proxy.m_Connection) {
  Mail.m_InHand = &m_InHand;
}

TCNorvServiceProxy::TCAnswerInHand::~TCAnswerInHand() {
  if (m_InHand.IsAnswer()) {
    m_Connection->EndAnswer();
  }
}

TCNorvChange TCNorvServiceProxy::MarkChange(TCNorvServiceName const& Service,
                                            TCNorvMailClassID const& MailClass,
                                            std::vector<std::string> Keys) {
  return m_Connection->MarkChange(Service.get_Mailbox(), MailClass, std::move(Keys));
}

std::vector<std::string> TCNorvServiceProxy::KeysOnWay(TCNorvServiceName const& Service,
                                                       TCNorvMailClassID const& MailClass) const {
  TCOwnChanges& Changes = m_Connection->get_OwnChanges();
  return Changes.HeldKeys(Changes.StreamOf(Service.get_Mailbox(), MailClass));
}

void TCNorvServiceProxy::GiveUpChanges(TCNorvServiceName const& Service,
                                       TCNorvMailClassID const& MailClass,
                                       std::vector<std::string> const& Keys) {
  TCOwnChanges& Changes = m_Connection->get_OwnChanges();
  Changes.GiveUp(Changes.StreamOf(Service.get_Mailbox(), MailClass), Keys);
}

bool TCNorvServiceProxy::Post(TCNorvServiceName const& Service,
                              TSNorvMailContent const& Content) const {
  return PostChange(Service, Content, TCNorvChange()) != 0;
}

std::uint64_t TCNorvServiceProxy::PostChange(TCNorvServiceName const& Service,
                                             TSNorvMailContent const& Content,
                                             TCNorvChange Change) const {
  return m_Connection->Post(Service.get_Mailbox(), Content, std::move(Change));
}

bool TCNorvServiceProxy::WaitForAcknowledgements(int Timeout) {
  return m_Connection->WaitForAcknowledgements(Timeout);
}

bool TCNorvServiceProxy::WaitForDelivery(int Timeout) {
  return m_Connection->WaitForDelivery(Timeout);
}

std::uint64_t TCNorvServiceProxy::get_LastSent(TCNorvServiceName const& Service) const {
  return m_Connection->get_LastSent(Service.get_Mailbox());
}

TENorvWait TCNorvServiceProxy::WaitForMail(TCNorvServiceName const& Service, std::uint64_t Number,
                                           int Timeout) const {
  return m_Connection->WaitForMail(Service.get_Mailbox(), Number, Timeout);
}

void TCNorvServiceProxy::SubscribeFirst(TCNorvMailClassID const& MailClass, TCWitness Witness) {
  m_Connection->SubscribeFirst(MailClass, std::move(Witness));
}

std::vector<std::string> TCNorvServiceProxy::TakeDecided(TCNorvServiceName const& Service,
                                                         TCNorvMailClassID const& MailClass,
                                                         std::uint64_t Number,
                                                         std::vector<std::string> const& Keys) {
  return m_Connection->TakeDecided(Service.get_Mailbox(), MailClass, Number, Keys);
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
