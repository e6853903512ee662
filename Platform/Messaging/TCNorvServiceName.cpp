// SPDX-License-Identifier: MIT
// Addresses of mailboxes.
#include "Platform/Messaging/TCNorvServiceName.h"

TCNorvServiceName::TCNorvServiceName(std::string const& Mailbox, std::string const& Process)
    : m_Mailbox(Mailbox), m_Process(Process) {}

TCNorvServiceName TCNorvServiceName::MakeLocalProcess(std::string const& Mailbox,
                                                      std::string const& Process) {
  return TCNorvServiceName(Mailbox, Process);
}

bool TCNorvServiceName::operator==(TCNorvServiceName const& Right) const {
  return m_Mailbox == Right.m_Mailbox && m_Process == Right.m_Process;
}
