// SPDX-License-Identifier: MIT
// Bounds what waits for a peer and what is read from it.
#include "Platform/Messaging/Router/TCRouterPeer.h"

#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

namespace {

constexpr std::size_t kQueuedLimit = 512;                       // frames
constexpr std::size_t kQueuedByteLimit = std::size_t{1} << 20;  // and what they take
constexpr std::uint64_t kRatePeriod = 1000000;                  // microseconds
constexpr TCNorvEventLoop::TCTime kFirstReadingDelay{1000};
constexpr TCNorvEventLoop::TCTime kLastReadingDelay{256000};

}  // namespace

TCRouterPeer::TCRouterPeer(TCNorvEventLoop& Loop, TCFileDescriptor Socket, TSNorvMailSender Sender,
                           std::shared_ptr<TCRouterUser> User)
    : m_Loop(Loop),
      m_Socket(std::move(Socket)),
      m_Sender(std::make_shared<TSNorvMailSender>(std::move(Sender))),
      m_User(std::move(User)),
      m_IsCharged(m_Sender->User != 0 && m_Sender->User != geteuid()),
      m_UnreadFiles(get_File()),
      m_Reading(Loop, CLOCK_MONOTONIC, [this] { OnReading(); }),
      m_ReadingDelay(kFirstReadingDelay) {}

void TCRouterPeer::Greet(std::string Identity, TCMACAddress const& Device) {
  m_Sender->Device = Device;
  m_Sender->Identity = std::move(Identity);
  m_GreetingLimit.reset();
}

std::string TCRouterPeer::Describe() const {
  return m_Sender->ProcessName + " (process " + std::to_string(m_Sender->Process) + ", user " +
         std::to_string(m_Sender->User) + ")";
}

// ---- reading ----

void TCRouterPeer::Start(std::function<void()> OnReadable, std::function<void()> OnEnded) {
  m_OnReadable = std::move(OnReadable);
  m_OnEnded = std::move(OnEnded);
  m_Ready.emplace(m_Loop, get_File(), EPOLLIN, [this](std::uint32_t Events) { OnReady(Events); });
}

void TCRouterPeer::OnReady(std::uint32_t Events) {
  bool Ended =
      !IsReading() && (Events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0 && !LeavesUnread();
  if (!Ended && !m_Queue.empty() && (Events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0) {
    Ended = !SendWaiting();
  }
  if (Ended) {
    m_OnEnded();
  } else if (IsReading() && (Events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
    m_OnReadable();
  }
}

// Whether the peer, which has gone while it was paused, has sent something that is still to be
// read.
bool TCRouterPeer::LeavesUnread() {
  int Unread = 0;
  m_LeavesUnread = !m_AwaitsOwner && ioctl(get_File(), FIONREAD, &Unread) == 0 && Unread > 0;
  Watch();
  return m_LeavesUnread;
}

void TCRouterPeer::LimitGreeting(TCNorvEventLoop::TCTime Time, std::function<void()> OnOver) {
  m_GreetingLimit.emplace(m_Loop, CLOCK_MONOTONIC, std::move(OnOver));
  m_GreetingLimit->SetAfter(Time);
}

bool TCRouterPeer::Pause(TCNorvEventLoop::TCTime Time, std::function<void()> OnOver) {
  if (m_Pause) {
    m_Pause->SetAt(std::max(m_Pause->get_Deadline(), m_Loop.Now() + Time));
    return false;
  }
  m_Pause.emplace(m_Loop, CLOCK_MONOTONIC, std::move(OnOver));
  m_Pause->SetAfter(Time);
  Watch();
  return true;
}

void TCRouterPeer::EndPause() {
  m_Pause.reset();
  Watch();
}

void TCRouterPeer::AwaitOwner() {
  m_AwaitsOwner = true;
  Watch();
}

void TCRouterPeer::EndAwaiting() {
  m_AwaitsOwner = false;
  Watch();
}

void TCRouterPeer::Detach() {
  m_GreetingLimit.reset();
  m_Pause.reset();
  m_Reading.SwitchOff();
  m_Ready.reset();
}

void TCRouterPeer::Watch() {
  if (m_Ready) {
    std::uint32_t const Reading = IsReading() ? EPOLLIN : m_LeavesUnread ? 0U : EPOLLRDHUP;
    m_Ready->SetEvents(m_Queue.empty() || m_Reading.IsSet() ? Reading : Reading | EPOLLOUT);
  }
}

std::uint64_t TCRouterPeer::CountMails(std::size_t Mails, unsigned Limit, std::uint64_t Now) {
  if (Now - m_SecondBegan >= kRatePeriod) {
    m_SecondBegan = Now;
    m_MailsInSecond = 0;
  }
  m_MailsInSecond += Mails;
  return m_MailsInSecond > Limit ? kRatePeriod * m_MailsInSecond / std::max(Limit, 1U) : 0;
}

// ---- sending ----

bool TCRouterPeer::Send(std::shared_ptr<Wire::TCFrame const> Frame) {
  if (m_Queue.empty() && m_UnreadFiles.HaveRoomFor(*Frame)) {
    Wire::TETransfer const Result = SendNow(*Frame);
    if (Result != Wire::TETransfer::eLater) {
      return Result == Wire::TETransfer::eDone;
    }
  }
  std::size_t const Size = Frame->get_Size();
  bool const IsFirst = m_Queue.empty();
  m_Queue.push_back(std::move(Frame));
  m_QueuedBytes += Size;
  if (IsFirst) {
    LookForReading();
  }
  return true;
}

Wire::TETransfer TCRouterPeer::SendNow(Wire::TCFrame const& Frame) {
  Wire::TETransfer const Result = Wire::Send(get_File(), Frame);
  if (Result == Wire::TETransfer::eDone) {
    m_UnreadFiles.Add(Frame);
  }
  return Result;
}

// False when the peer has gone.
bool TCRouterPeer::Flush() {
  while (!m_Queue.empty() && m_UnreadFiles.HaveRoomFor(*m_Queue.front())) {
    Wire::TETransfer const Result = SendNow(*m_Queue.front());
    if (Result != Wire::TETransfer::eDone) {
      return Result == Wire::TETransfer::eLater;
    }
    m_QueuedBytes -= m_Queue.front()->get_Size();
    m_Queue.pop_front();
    m_ReadingDelay = kFirstReadingDelay;
  }
  return true;
}

// False when the peer has gone, or has to go.
bool TCRouterPeer::SendWaiting() {
  try {
    bool const IsThere = Flush();
    LookForReading();
    return IsThere;
  } catch (std::exception const&) {
    return false;  // what can not be sent now the proxy asks for again
  }
}

void TCRouterPeer::OnReading() {
  if (!SendWaiting()) {
    m_OnEnded();
  }
}

// That there is room in the queue says nothing of the files in it: when they have been read is
// looked for, more and more seldom.
void TCRouterPeer::LookForReading() {
  if (m_Queue.empty() || m_UnreadFiles.HaveRoomFor(*m_Queue.front())) {
    m_Reading.SwitchOff();
    m_ReadingDelay = kFirstReadingDelay;
  } else {
    m_Reading.SetAfter(m_ReadingDelay);
    m_ReadingDelay = std::min(2 * m_ReadingDelay, kLastReadingDelay);
  }
  Watch();
}

bool TCRouterPeer::IsCongested() const {
  return m_Queue.size() > kQueuedLimit || m_QueuedBytes > kQueuedByteLimit;
}

void TCRouterPeer::Acknowledge(std::string const& Mailbox, std::uint64_t Number) {
  std::uint64_t& Last = m_Acknowledgements[Mailbox];
  Last = std::max(Last, Number);  // a repeated mail is acknowledged after later ones
  if (!IsAnySubscriptionBehind() && !IsCongested()) {
    SendAcknowledgements();
  }
}

// What can not be sent for lack of memory stays.
void TCRouterPeer::SendAcknowledgements() {
  try {
    while (!m_Acknowledgements.empty()) {
      auto const First = m_Acknowledgements.begin();
      Wire::TSFrameHead Head;
      Head.Kind = Wire::TEFrame::eAcknowledged;
      Head.Mailbox = First->first;
      Head.Number = First->second;
      Send(Wire::TCFrame(Head));  // where the peer has gone, nobody waits for it
      m_Acknowledgements.erase(First);
    }
  } catch (std::exception const&) {
    return;
  }
}

bool TCRouterPeer::IsAnySubscriptionBehind() const {
  return std::any_of(m_Subscriptions.begin(), m_Subscriptions.end(),
                     [](auto const& Entry) { return Entry.second.IsBehind(); });
}

bool TCRouterPeer::IsBehind() const {
  return !m_Acknowledgements.empty() || IsAnySubscriptionBehind();
}

TSRouterSubscription* TCRouterPeer::FindSubscription(TCNorvMailClassID const& MailClass) {
  auto const Found =
      std::find_if(m_Subscriptions.begin(), m_Subscriptions.end(),
                   [&MailClass](auto const& Entry) { return Entry.first == MailClass; });
  return Found != m_Subscriptions.end() ? &Found->second : nullptr;
}
