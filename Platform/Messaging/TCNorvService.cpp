// SPDX-License-Identifier: MIT
// Connects a mailbox's owner with the router.
#include "Platform/Messaging/TCNorvService.h"

#include "Platform/Messaging/Router/TCRouterCore.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvService";

std::shared_ptr<TSNorvMailSender const> const& Nobody() {
  static auto const& Sender =  // in use until the process ends
      *new std::shared_ptr<TSNorvMailSender const>(std::make_shared<TSNorvMailSender const>());
  return Sender;
}

}  // namespace

TCNorvSender::TCNorvSender() : m_Sender(Nobody()) {}

TCNorvSender::TCNorvSender(TSNorvMailSender Sender)
    : m_Sender(std::make_shared<TSNorvMailSender const>(std::move(Sender))) {}

TCNorvService::TCNorvService(TCNorvMailRouter& Router, std::string const& Mailbox)
    : m_Router(Router), m_Mailbox(std::make_shared<std::string const>(Mailbox)) {
  if (Mailbox.empty() || Mailbox.size() > Wire::kNameLimit) {
    throw TCException(kSource, __LINE__)
        .Format("the name of a mailbox has 1 to %zu bytes, not %zu", Wire::kNameLimit,
                Mailbox.size());
  }
}

TCNorvService::~TCNorvService() {
  Close();
}

void TCNorvService::Open() {
  m_Router.Execute([this] {
    m_Router.m_Core->OpenMailbox(*m_Mailbox, *this);
    m_Open = true;
  });
}

void TCNorvService::Close() {
  if (m_Open) {
    m_Router.Execute([this] { m_Router.m_Core->CloseMailbox(*m_Mailbox); });
    m_Open = false;
  }
}

void TCNorvService::Acknowledge(TSNorvReceivedMail const& Mail) {
  m_Router.m_Core->get_Publisher().Acknowledge(*m_Mailbox, Mail.Sender, Mail.Number);
}

void TCNorvService::Publish(TSNorvMailContent const& Content, TSNorvReceivedMail const& Origin) {
  m_Router.m_Core->get_Publisher().Publish(
      {m_Mailbox, 0, Origin.Sender, Origin.Number, false, Content});
}

void TCNorvService::Restore(TSNorvReceivedMail const& Refused, TSNorvMailContent const& Content) {
  m_Router.m_Core->get_Publisher().Publish(
      {m_Mailbox, 0, Refused.Sender, Refused.Number, true, Content});
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
  return m_Router.m_Core->get_Publisher().get_Position().Sequence;
}

std::uint64_t TCNorvService::get_LastTaken(TSNorvSenderKey const& /*Sender*/) const {
  return 0;
}

std::shared_ptr<TCNorvMailBody const> TCNorvService::OnForward(
    TSNorvMailSender const& /*Subscriber*/, TSNorvMailContent const& Content) {
  return Content.Body;
}
