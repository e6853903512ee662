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
  m_Router.m_Core->Acknowledge(m_Path, Mail.Sender.Identity, Mail.Number);
}

void TCNorvService::Publish(TSNorvMailContent const& Content, TSNorvReceivedMail const& Origin) {
  m_Router.m_Core->Publish(m_Path, Content, Origin);
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
  return m_Router.m_Core->get_Sequence();
}
