// SPDX-License-Identifier: MIT
// The steps of a process.
#include "tests/model/TCModelProcess.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace {

constexpr char kMailbox[] = "mailbox";

std::vector<std::string> KeysOf(TCModelValues const& Values) {
  std::vector<std::string> Keys;
  for (auto const& [Key, Value] : Values) {
    Keys.push_back(std::to_string(Key));
  }
  return Keys;
}

}  // namespace

TCModelProcess::TCModelProcess(TSModelPlan const& Plan, std::size_t Index)
    : m_Plan(&Plan),
      m_Index(Index),
      m_Threads(Plan.m_Processes[Index].size()),
      m_Own(TCOwnChanges()),
      m_Outbox(TCOutbox(kMailbox)) {
  m_Own.Change().StreamOf(kMailbox, ModelValueClass());
  m_Own.Change().StreamOf(kMailbox, ModelConditionClass());
  m_Subscription.BeginAt({1, 0});
  m_Subscription.Want();
  m_Subscription.NoteRequested();
}

// ---- its threads ----

TCModelProcess::TENext TCModelProcess::NextOf(std::size_t Thread) const {
  TSThread const& Asked = m_Threads[Thread];
  if (Asked.m_Awaited != 0) {
    return m_Outbox->get_LastAcknowledged() >= Asked.m_Awaited ? TENext::eDecide : TENext::eNothing;
  }
  if (Asked.m_IsMarked) {
    return TENext::eSend;
  }
  if (Asked.m_Done == m_Plan->m_Processes[m_Index][Thread].size()) {
    return TENext::eNothing;
  }
  return SetOf(Thread).m_IfUnchanged ? TENext::eAsk : TENext::eSet;
}

TSModelPlan::TSSet const& TCModelProcess::SetOf(std::size_t Thread) const {
  return m_Plan->m_Processes[m_Index][Thread][m_Threads[Thread].m_Done];
}

// Unique: says who sets it, and as its how-manieth change.
int TCModelProcess::NextValue(std::size_t Thread) const {
  return static_cast<int>(100 * m_Index + 10 * Thread + m_Threads[Thread].m_Done + 1);
}

void TCModelProcess::Set(std::size_t Thread) {
  TSThread& Setting = m_Threads[Thread];
  int const Value = NextValue(Thread);
  for (int const Key : SetOf(Thread).m_Keys) {
    m_Store[Key] = Value;
    NoteExclusive(Key, Value);
    Setting.m_Values[Key] = Value;
  }
  Setting.m_Mark = m_Own.Change().Mark(kStream, KeysOf(Setting.m_Values));
  Setting.m_Fate = SetOf(Thread).m_Fate;
  Setting.m_IsMarked = true;
  ++Setting.m_Done;
}

void TCModelProcess::Send(std::size_t Thread) {
  TSThread& Sender = m_Threads[Thread];
  TSModelMail Mail;
  Mail.m_Values = std::exchange(Sender.m_Values, TCModelValues());
  Mail.m_Fate = Sender.m_Fate;
  Post(Mail);
  m_Own.Change().Sent(Sender.m_Mark, get_LastNumber());
  Sender.m_IsMarked = false;
}

void TCModelProcess::Post(TSModelMail const& Mail) {
  m_Outbox.Change().Add(EncodedMail(Mail), Mail.m_Conditional ? kConditionStream : kStream);
}

// Reads the values, and has the server change them if they still are what was read.
void TCModelProcess::Ask(std::size_t Thread) {
  TSThread& Asking = m_Threads[Thread];
  TSModelMail Mail;
  Mail.m_Fate = SetOf(Thread).m_Fate;
  Mail.m_Conditional = true;
  for (int const Key : SetOf(Thread).m_Keys) {
    auto const Held = m_Store.find(Key);
    Mail.m_Expected[Key] = Held == m_Store.end() ? kNoValue : Held->second;
    Mail.m_Values[Key] = NextValue(Thread);
  }
  Post(Mail);
  Asking.m_Values = Mail.m_Values;
  Asking.m_Awaited = get_LastNumber();
  ++Asking.m_Done;
}

// The acknowledgement has come, and with it, whether the mail was refused.
void TCModelProcess::Decide(std::size_t Thread, bool IsRefused) {
  TCModelValues const Values = std::exchange(m_Threads[Thread].m_Values, TCModelValues());
  std::uint64_t const Number = std::exchange(m_Threads[Thread].m_Awaited, 0);
  if (IsRefused) {
    return;
  }
  bool const InDelivery = IsDelivering() && m_Delivery.m_OfOne == Number;
  if (!m_Plan->Has(TSModelPlan::TEDefect::eDecidedIsNotShown)) {
    for (std::string const& Key :
         m_Own.Change().TakeDecided(kStream, Number, KeysOf(Values), InDelivery)) {
      m_Store[std::stoi(Key)] = Values.at(std::stoi(Key));
    }
  }
  PutAwayAcknowledged(Number);
  RequireRead(Number, Values);
}

// Unless the whole that has this mail may be about to be applied, and nobody knows how far that is.
void TCModelProcess::RequireRead(std::uint64_t Number, TCModelValues const& Values) {
  if (m_Delivery.m_Whole && m_UpTo >= Number) {
    return;
  }
  for (auto const& [Key, Value] : Values) {
    if (Key == m_Plan->m_ExclusiveKey && m_Store[Key] != Value) {
      throw std::logic_error("a process does not read what it has changed on a condition");
    }
    NoteExclusive(Key, Value);
  }
}

void TCModelProcess::NoteExclusive(int Key, int Value) {
  if (Key == m_Plan->m_ExclusiveKey) {
    m_Exclusive = Value;
  }
}

// ---- its connection ----

std::vector<TSModelMail> TCModelProcess::TakeUnsent() {
  std::vector<TSModelMail> Mails;
  while (m_Outbox->HasUnsent()) {
    TCOutbox::TSNext const Next = m_Outbox->NextFrame();
    std::vector<TSModelMail> const Framed = DecodedMails(Next.Frame);
    Mails.insert(Mails.end(), Framed.begin(), Framed.end());
    m_Outbox.Change().NoteSent(Next.Count);
  }
  if (m_Plan->Has(TSModelPlan::TEDefect::eNewestIsSentFirst)) {
    std::reverse(Mails.begin(), Mails.end());
  }
  return Mails;
}

void TCModelProcess::Cut() {
  if (!m_Plan->Has(TSModelPlan::TEDefect::eNothingIsSentAgain)) {
    m_Outbox.Change().Restart();
  }
  m_Subscription.Restart();
}

void TCModelProcess::Receive(TSModelPublished const& Received) {
  using TEKind = TSModelPublished::TEKind;
  if (Received.m_Kind == TEKind::eAcknowledged) {
    m_Outbox.Change().Acknowledge(Received.m_Number);
    PutAwayAcknowledged(Received.m_Number);
    return;
  }
  bool const StandsForAll = Received.m_Kind == TEKind::eWhole;
  if (m_Subscription.Admit(Received.m_Position, Received.m_Previous, StandsForAll) !=
      TCSubscription::TEVerdict::eNext) {
    throw std::logic_error("a mail is not taken for the next one");
  }
  TakePublished(Received);
}

void TCModelProcess::TakePublished(TSModelPublished const& Received) {
  using TEKind = TSModelPublished::TEKind;
  if (Received.m_Kind == TEKind::eOwnMails) {
    m_Outbox.Change().TakePublished(
        ModelValueClass(), kStream, Received.m_Number,
        [this](std::uint64_t Number, TSNorvMailContent const& Content) {
          PutAway({TEKind::eMail, m_Index, Number, DecodedMail(Number, Content).m_Values, {}});
        });
    return;
  }
  if (Received.m_Origin == m_Index) {
    m_Outbox.Change().NotePublished(kStream, Received.m_Number);
  }
  PutAway(Received);
}

void TCModelProcess::PutAway(TSModelPublished const& Received) {
  bool const IsOwn =
      Received.m_Kind == TSModelPublished::TEKind::eMail && Received.m_Origin == m_Index;
  if (IsOwn && IsNextInLine() && m_Own.Change().EndOwnSilently(kStream, Received.m_Number)) {
    return;
  }
  m_Inbox.push_back(Received);
}

void TCModelProcess::PutAwayAcknowledged(std::uint64_t Number) {
  if (!m_Own->HasUpTo(kStream, Number)) {
    return;
  }
  if (IsNextInLine()) {
    m_Own.Change().Acknowledge(kStream, Number);
  } else {
    m_Inbox.push_back({TSModelPublished::TEKind::eAcknowledged, m_Index, Number, {}, {}});
  }
}

// ---- what it is handed ----

void TCModelProcess::Begin() {
  TSModelPublished const Received = m_Inbox.front();
  m_Inbox.erase(m_Inbox.begin());
  if (!IsToBeHandedOver(Received)) {
    return;
  }
  m_Delivery.m_Values = Received.m_Values;
  m_Delivery.m_Active = true;
  for (auto const& [Key, Value] : Received.m_Values) {
    m_Delivery.m_Named.insert(Key);
  }
}

bool TCModelProcess::IsToBeHandedOver(TSModelPublished const& Received) {
  using TEKind = TSModelPublished::TEKind;
  if (Received.m_Kind == TEKind::eAcknowledged) {
    m_Own.Change().Acknowledge(kStream, Received.m_Number);
    return false;
  }
  if (Received.m_Kind == TEKind::eWhole || Received.m_Kind == TEKind::eStanding) {
    m_Own.Change().CatchUp(kStream, Received.m_Number);
    m_UpTo = Received.m_Number;
    m_Delivery.m_Whole = Received.m_Kind == TEKind::eWhole;
    m_Delivery.m_OfOne = m_Delivery.m_Whole ? 0 : Received.m_Number;
    return true;
  }
  return Received.m_Origin != m_Index ||
         m_Own.Change().EndOwn(kStream, Received.m_Number, m_Delivery.m_Held);
}

void TCModelProcess::Apply() {
  auto const Record = m_Delivery.m_Values.begin();
  auto const [Key, Value] = *Record;
  m_Delivery.m_Values.erase(Record);
  std::string const Name = std::to_string(Key);
  bool const IsOvertaken = m_Own->IsOnWay(kStream, Name) || m_Delivery.m_Held.count(Name) != 0;
  if (IsOvertaken && !m_Plan->Has(TSModelPlan::TEDefect::eOlderIsApplied)) {
    return;
  }
  if (Value == kNoValue) {
    m_Store.erase(Key);
    return;
  }
  if (Key == m_Plan->m_ExclusiveKey && m_Exclusive > Value && m_Exclusive / 100 == Value / 100) {
    throw std::logic_error("a process reads an older value than it has set");
  }
  m_Store[Key] = Value;
}

// What the whole does not name goes, but for what a change on its way has set.
void TCModelProcess::End() {
  TSDelivery const Delivery = std::exchange(m_Delivery, TSDelivery());
  for (auto Place = m_Store.begin(); Delivery.m_Whole && Place != m_Store.end();) {
    bool const Stays = Delivery.m_Named.count(Place->first) != 0 ||
                       m_Own->IsOnWay(kStream, std::to_string(Place->first));
    Place = Stays ? std::next(Place) : m_Store.erase(Place);
  }
}

bool TCModelProcess::IsWaiting() const {
  return m_Outbox->get_LastAcknowledged() != get_LastNumber() ||
         m_Own->HasUpTo(kStream, UINT64_MAX);
}
