// SPDX-License-Identifier: MIT
// Connects a mailbox's owner with the router.
#include "Platform/Messaging/TCNorvService.h"

#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCRouterCore.h"

TCNorvService::TCNorvService(TCNorvMailRouter& Router, std::string const& Mailbox)
    : m_Router(Router), m_Mailbox(Mailbox), m_Path(MailWire::MailboxPath(Mailbox)) {}

TCNorvService::~TCNorvService() {
  Close();
}

void TCNorvService::Open() {
  m_Router.Execute([this] {
    m_Router.m_Core->OpenMailbox(m_Mailbox, m_Path, *this);
    m_Open = true;
  });
}

void TCNorvService::Close() {
  if (m_Open) {
    m_Router.Execute([this] { m_Router.m_Core->CloseMailbox(m_Path); });
    m_Open = false;
  }
}

void TCNorvService::Acknowledge(TSNorvReceivedMail const& Mail) {
  m_Router.m_Core->Acknowledge(m_Path, Mail.Sender, Mail.Number);
}

void TCNorvService::Publish(TSNorvMailContent const& Content, TSNorvReceivedMail const& Origin) {
  m_Router.m_Core->Publish({m_Path, MailWire::ClassInterface(Content.MailClass), 0, Origin.Sender,
                            Origin.Number, false, Content});
}

void TCNorvService::Restore(TSNorvReceivedMail const& Refused, TSNorvMailContent const& Content) {
  m_Router.m_Core->Publish({m_Path, MailWire::ClassInterface(Content.MailClass), 0, Refused.Sender,
                            Refused.Number, true, Content});
}

bool TCNorvService::IsBusy() const {
  return false;
}

void TCNorvService::OnRefused(TSNorvReceivedMail const& Mail) {
  Acknowledge(Mail);
}

bool TCNorvService::OnCatchUp(TSNorvMailSender const& /*Sender*/,
                              TCNorvMailClassID const& /*MailClass*/,
                              TSNorvMailContent& /*Content*/) {
  return false;
}

std::uint64_t TCNorvService::get_Sequence() const {
  return m_Router.m_Core->get_Position().Sequence;
}

std::uint64_t TCNorvService::get_LastTaken(TSNorvSenderKey const& /*Sender*/) const {
  return 0;
}

std::shared_ptr<TCNorvMailBody const> TCNorvService::OnForward(
    TSNorvMailSender const& /*Subscriber*/, TSNorvMailContent const& Content) {
  return Content.Body;
}
