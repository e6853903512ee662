// SPDX-License-Identifier: MIT
// Keeps as many published mails as its bounds allow.
#include "Platform/Messaging/Router/TCRecentMails.h"

#include <utility>

namespace {

constexpr std::size_t kCountLimit = 1024;
constexpr std::size_t kByteLimit = std::size_t{16} << 20;

}  // namespace

void TCRecentMails::Add(std::shared_ptr<TSPublishedMail const> Mail) {
  std::size_t const Size = Mail->Content.Body->get_Size();
  m_Mails.push_back(std::move(Mail));
  m_Bytes += Size;
  while (m_Mails.size() > kCountLimit || m_Bytes > kByteLimit) {
    m_Bytes -= m_Mails.front()->Content.Body->get_Size();
    m_Mails.pop_front();
  }
}

void TCRecentMails::Clear() {
  m_Mails.clear();
  m_Bytes = 0;
}

bool TCRecentMails::ReachBackTo(std::uint64_t Sequence, std::uint64_t Last) const {
  return Sequence >= Last || (!m_Mails.empty() && m_Mails.front()->Sequence <= Sequence + 1);
}
