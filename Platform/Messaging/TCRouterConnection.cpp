// SPDX-License-Identifier: MIT
// Bounds what waits for a peer and what is read from it.
#include "Platform/Messaging/TCRouterConnection.h"

#include <poll.h>
#include <sys/epoll.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCRouterCore.h"

namespace {

constexpr std::uint64_t kQueuedLimit = 512;                     // messages
constexpr std::size_t kQueuedByteLimit = std::size_t{1} << 20;  // and their records
constexpr std::size_t kMessageOverhead = 256;
constexpr std::uint64_t kRatePeriod = 1000000;  // microseconds

}  // namespace

TCRouterConnection::TCRouterConnection(TCRouterCore& Core, TCBusHandle Bus)
    : m_Core(Core), m_Bus(std::move(Bus)) {}

TCRouterConnection::~TCRouterConnection() {
  m_HangUp.reset();  // goes, like m_Ready, before the socket that it watches
}

std::string TCRouterConnection::Describe() const {
  return m_Sender.ProcessName + " (process " + std::to_string(m_Sender.Process) + ", user " +
         std::to_string(m_Sender.User) + ")";
}

void TCRouterConnection::Attach(TCNorvEventLoop& Loop, TCNorvWatchedFile::TCOnReady OnReady) {
  m_Ready.emplace(Loop, sd_bus_get_fd(m_Bus.get()), EPOLLIN, std::move(OnReady));
  Watch();
}

void TCRouterConnection::Watch() {
  if (HasEnded()) {
    m_Core.DropEnded();  // its socket need not become ready any more
    return;
  }
  if (!m_Ready) {
    return;
  }
  int const Wanted = sd_bus_get_events(m_Bus.get());
  std::uint32_t Events = 0;
  if (Wanted > 0 && (Wanted & POLLIN) != 0) {
    Events |= EPOLLIN;
  }
  if (Wanted <= 0 || (Wanted & POLLOUT) != 0 || m_HoldsMore) {
    Events |= EPOLLOUT;  // also one that need not wait: it is to be called at once
  }
  m_Ready->SetEvents(Events);
}

std::uint64_t TCRouterConnection::CountQueued() const {
  std::uint64_t Count = 0;
  return sd_bus_get_n_queued_write(m_Bus.get(), &Count) >= 0 ? Count : 0;
}

bool TCRouterConnection::IsCongested() {
  std::uint64_t const Count = CountQueued();
  if (Count == 0) {
    m_QueuedBytes = 0;
  }
  return Count > kQueuedLimit || m_QueuedBytes > kQueuedByteLimit;
}

bool TCRouterConnection::Send(sd_bus_message* Message, std::size_t Bytes) {
  bool const Sent = sd_bus_send(m_Bus.get(), Message, nullptr) >= 0;
  m_QueuedBytes += Sent ? Bytes + kMessageOverhead : 0;
  Watch();
  return Sent;
}

bool TCRouterConnection::IsBehind() const {
  return !m_Acknowledgements.empty() ||
         std::any_of(m_Subscriptions.begin(), m_Subscriptions.end(),
                     [](auto const& Entry) { return Entry.second.Behind; });
}

void TCRouterConnection::Acknowledge(std::string const& Path, std::uint64_t Number) {
  std::uint64_t& Last = m_Acknowledgements[Path];
  Last = std::max(Last, Number);  // a repeated mail is acknowledged after later ones
  bool const Held = std::any_of(m_Subscriptions.begin(), m_Subscriptions.end(),
                                [](auto const& Entry) { return Entry.second.Behind; });
  if (!Held && !IsCongested()) {
    SendAcknowledgements();
  }
}

void TCRouterConnection::SendAcknowledgements() {
  for (auto Place = m_Acknowledgements.begin(); Place != m_Acknowledgements.end();) {
    bool const Sent =
        sd_bus_emit_signal(m_Bus.get(), Place->first.c_str(), MailWire::kRouterInterface,
                           MailWire::kAcknowledged, "t", Place->second) >= 0;
    Place = Sent ? m_Acknowledgements.erase(Place) : std::next(Place);
  }
  Watch();
}

std::uint64_t TCRouterConnection::CountMails(std::size_t Mails, unsigned Limit, std::uint64_t Now) {
  if (Now - m_SecondBegan >= kRatePeriod) {
    m_SecondBegan = Now;
    m_MailsInSecond = 0;
  }
  m_MailsInSecond += Mails;
  return m_MailsInSecond > Limit ? kRatePeriod * m_MailsInSecond / std::max(Limit, 1U) : 0;
}
