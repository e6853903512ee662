// SPDX-License-Identifier: MIT
// The steps of the world.
#include "tests/model/ConvergenceModel.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace {

constexpr int kNone = -1;  // there is no value
constexpr std::size_t kEverybody = SIZE_MAX;

using TValues = std::map<int, int>;

}  // namespace

TConvergenceModel::TConvergenceModel(TModelPlan const& Plan)
    : m_Plan(&Plan), m_CutsLeft(Plan.m_Cuts), m_CrashesLeft(Plan.m_Crashes) {
  for (auto const& Programs : Plan.m_Processes) {
    m_Processes.emplace_back().m_Threads.resize(Programs.size());
  }
  m_Server.m_Last.resize(m_Processes.size());
  m_Disk = m_Server;
}

// The one stream of its account is that of the values.
TConvergenceModel::TProcess::TProcess() {
  m_Own.StreamOf("mailbox", TCNorvMailClassID("values", 1));
}

// ---- what can happen ----

std::vector<TConvergenceModel::TStep> TConvergenceModel::Steps() const {
  using TKind = TStep::TKind;
  std::vector<TStep> Result;
  for (std::size_t Index = 0; Index < m_Processes.size(); ++Index) {
    TProcess const& Process = m_Processes[Index];
    AddThreadSteps(Index, Result);
    if (!Process.m_ToServer.empty()) {
      Result.push_back({TKind::eTake, Index, 0});
    }
    if (!Process.m_FromServer.empty()) {
      Result.push_back({TKind::eReceive, Index, 0});
    }
    if (Process.m_Delivery.m_Active) {
      Result.push_back(
          {Process.m_Delivery.m_Values.empty() ? TKind::eEnd : TKind::eApply, Index, 0});
    } else if (!Process.m_Inbox.empty()) {
      Result.push_back({TKind::eBegin, Index, 0});
    }
    if (!Process.m_Connected) {
      Result.push_back({TKind::eConnectWhole, Index, 0});
      if (MayReplay(Index)) {
        Result.push_back({TKind::eConnect, Index, 0});
      }
    } else if (m_CutsLeft > 0 && (Index == 0 || !m_Plan->m_CutFirstOnly)) {
      Result.push_back({TKind::eCut, Index, 0});
    }
    if (Process.m_Behind) {
      Result.push_back({TKind::eResume, Index, 0});
    }
  }
  if (m_Plan->m_Relaxed && m_Disk.m_Log.size() < m_Server.m_Log.size()) {
    Result.push_back({TKind::eStore, 0, 0});
  }
  if (m_CrashesLeft > 0) {
    Result.push_back({TKind::eCrash, 0, 0});
  }
  if (m_Hidings < m_Plan->m_Hidings.size()) {
    Result.push_back({TKind::eHide, 0, 0});
  }
  return Result;
}

void TConvergenceModel::AddThreadSteps(std::size_t Process, std::vector<TStep>& Steps) const {
  auto const& Threads = m_Processes[Process].m_Threads;
  for (std::size_t Thread = 0; Thread < Threads.size(); ++Thread) {
    auto const& Program = m_Plan->m_Processes[Process][Thread];
    std::size_t const Done = Threads[Thread].m_Done;
    if (std::uint64_t const Awaited = Threads[Thread].m_Awaited; Awaited != 0) {
      auto const& Outbox = m_Processes[Process].m_Outbox;
      if (Outbox.empty() || Outbox.front().m_Number > Awaited) {
        Steps.push_back({TStep::TKind::eDecide, Process, Thread});
      }
    } else if (Threads[Thread].m_Marked) {
      Steps.push_back({TStep::TKind::eSend, Process, Thread});
    } else if (Done < Program.size()) {
      Steps.push_back(
          {Program[Done].m_IfUnchanged ? TStep::TKind::eAsk : TStep::TKind::eSet, Process, Thread});
    }
  }
}

// The mails of another epoch say nothing of what was missed, and some need more than mails.
bool TConvergenceModel::MayReplay(std::size_t Index) const {
  TProcess const& Process = m_Processes[Index];
  auto const First = m_Publications.begin() + static_cast<std::ptrdiff_t>(Process.m_Seen);
  return !Process.m_NewEpoch &&
         std::none_of(First, m_Publications.end(), [Index](TPublished const& Published) {
           return Published.m_Kind == TPublished::TKind::eNeedsWhole &&
                  (Published.m_Origin == Index || Published.m_Origin == kEverybody);
         });
}

void TConvergenceModel::Step(std::size_t Index) {
  using TKind = TStep::TKind;
  TStep const Step = Steps().at(Index);
  TProcess& Process = m_Processes[Step.m_Process];
  switch (Step.m_Kind) {
    case TKind::eSet:
    case TKind::eAsk: {
      TThread& Thread = Process.m_Threads[Step.m_Thread];
      auto const& Program = m_Plan->m_Processes[Step.m_Process][Step.m_Thread];
      // Unique: says who set it, and as its how-manieth change.
      int const Value =
          static_cast<int>(100 * Step.m_Process + 10 * Step.m_Thread + Thread.m_Done + 1);
      if (Step.m_Kind == TKind::eSet) {
        Set(Step.m_Process, Thread, Program[Thread.m_Done], Value);
      } else {
        Ask(Process, Thread, Program[Thread.m_Done], Value);
      }
      ++Thread.m_Done;
      break;
    }
    case TKind::eDecide:
      Decide(Step.m_Process, Process.m_Threads[Step.m_Thread]);
      break;
    case TKind::eSend:
      Send(Process, Process.m_Threads[Step.m_Thread]);
      break;
    case TKind::eTake:
      Take(Step.m_Process);
      break;
    case TKind::eStore:
      Store();
      break;
    case TKind::eReceive:
      Receive(Step.m_Process);
      break;
    case TKind::eBegin:
      Begin(Step.m_Process);
      break;
    case TKind::eApply:
      Apply(Step.m_Process);
      break;
    case TKind::eEnd:
      End(Process);
      break;
    case TKind::eCut:
      --m_CutsLeft;
      Cut(Process);
      break;
    case TKind::eConnect:
    case TKind::eConnectWhole:
      Connect(Step.m_Process, Step.m_Kind == TKind::eConnectWhole);
      break;
    case TKind::eCrash:
      Crash();
      break;
    case TKind::eHide:
      Hide();
      break;
    case TKind::eResume:
      Resume(Step.m_Process);
      break;
  }
}

// ---- the process ----

void TConvergenceModel::Set(std::size_t Process, TThread& Thread, TModelPlan::TSet const& Set,
                            int Value) {
  std::vector<std::string> Keys;
  for (int const Key : Set.m_Keys) {
    m_Processes[Process].m_Store[Key] = Value;
    NoteExclusive(m_Processes[Process], Key, Value);
    Thread.m_Values[Key] = Value;
    Keys.push_back(std::to_string(Key));
  }
  Thread.m_Mark = m_Processes[Process].m_Own.Mark(kStream, Keys);
  Thread.m_Fate = Set.m_Fate;
  Thread.m_Marked = true;
}

void TConvergenceModel::Send(TProcess& Process, TThread& Thread) {
  TMail const Mail{++Process.m_LastNumber, Thread.m_Values, Thread.m_Fate};
  Process.m_Own.Sent(Thread.m_Mark, Mail.m_Number);
  Post(Process, Mail);
  Thread.m_Values.clear();
  Thread.m_Marked = false;
}

void TConvergenceModel::Post(TProcess& Process, TMail const& Mail) {
  Process.m_Outbox.push_back(Mail);
  if (Process.m_Connected) {
    Process.m_ToServer.push_back(Mail);
  }
}

// Reads the values, and has the server change them if they still are what was read.
void TConvergenceModel::Ask(TProcess& Process, TThread& Thread, TModelPlan::TSet const& Set,
                            int Value) {
  TMail Mail{++Process.m_LastNumber, {}, Set.m_Fate, true};
  for (int const Key : Set.m_Keys) {
    auto const Held = Process.m_Store.find(Key);
    Mail.m_Expected[Key] = Held == Process.m_Store.end() ? kNone : Held->second;
    Mail.m_Values[Key] = Value;
  }
  Thread.m_Values = Mail.m_Values;
  Thread.m_Awaited = Mail.m_Number;
  Post(Process, Mail);
}

// The acknowledgement has come, and with it, whether the mail was refused.
void TConvergenceModel::Decide(std::size_t Index, TThread& Thread) {
  TProcess& Process = m_Processes[Index];
  TValues const Values = std::exchange(Thread.m_Values, TValues());
  std::uint64_t const Number = std::exchange(Thread.m_Awaited, 0);
  if (m_Disk.m_Refused.count({Index, Number}) != 0) {
    return;
  }
  std::vector<std::string> Keys;
  for (auto const& [Key, Value] : Values) {
    Keys.push_back(std::to_string(Key));
  }
  bool const InDelivery = Process.m_Delivery.m_Active && Process.m_Delivery.m_OfOne == Number;
  for (std::string const& Key : Process.m_Own.TakeDecided(kStream, Number, Keys, InDelivery)) {
    Process.m_Store[std::stoi(Key)] = Values.at(std::stoi(Key));
  }
  if (Process.m_Own.HasUpTo(kStream, Number)) {
    ReceiveAcknowledgement(Process, {TPublished::TKind::eAcknowledged, Index, Number, {}});
  }
  // The whole that has this mail may be about to be applied, and nobody knows how far that is.
  bool const InWhole =
      Process.m_Delivery.m_Active && Process.m_Delivery.m_Whole && Process.m_UpTo >= Number;
  for (auto const& [Key, Value] : Values) {
    if (Key == m_Plan->m_ExclusiveKey && !InWhole && Process.m_Store[Key] != Value) {
      throw std::logic_error("a process does not read what it has changed on a condition");
    }
    NoteExclusive(Process, Key, InWhole ? Process.m_Exclusive : Value);
  }
}

void TConvergenceModel::NoteExclusive(TProcess& Process, int Key, int Value) const {
  if (Key == m_Plan->m_ExclusiveKey) {
    Process.m_Exclusive = Value;
  }
}

void TConvergenceModel::Receive(std::size_t Index) {
  using TKind = TPublished::TKind;
  TProcess& Process = m_Processes[Index];
  TPublished const Received = Process.m_FromServer.front();
  Process.m_FromServer.pop_front();
  if (Received.m_Kind == TKind::eAcknowledged) {
    ReceiveAcknowledgement(Process, Received);
    return;
  }
  Process.m_Seen = Received.m_Position;
  if (Received.m_Kind == TKind::eOwnMails) {
    for (TMail const& Mail : Process.m_Outbox) {
      if (Mail.m_Number > Process.m_OwnPublished && Mail.m_Number <= Received.m_Number &&
          !Mail.m_Conditional) {  // which is of another class
        ReceiveMail(Index, {TKind::eMail, Index, Mail.m_Number, Mail.m_Values});
      }
    }
    Process.m_OwnPublished = Received.m_Number;
    return;
  }
  if (Received.m_Kind == TKind::eWhole) {
    Process.m_NewEpoch = false;
  }
  if (Received.m_Origin == Index) {
    Process.m_OwnPublished = Received.m_Number;
  }
  ReceiveMail(Index, Received);
}

void TConvergenceModel::ReceiveMail(std::size_t Index, TPublished const& Received) {
  TProcess& Process = m_Processes[Index];
  bool const First = Process.m_Inbox.empty() && !Process.m_Delivery.m_Active;
  bool const Own = Received.m_Kind == TPublished::TKind::eMail && Received.m_Origin == Index;
  if (First && Own && Process.m_Own.EndOwnSilently(kStream, Received.m_Number)) {
    return;
  }
  Process.m_Inbox.push_back(Received);
}

void TConvergenceModel::ReceiveAcknowledgement(TProcess& Process, TPublished const& Received) {
  while (!Process.m_Outbox.empty() && Process.m_Outbox.front().m_Number <= Received.m_Number) {
    Process.m_Outbox.pop_front();
  }
  if (!Process.m_Own.HasUpTo(kStream, Received.m_Number)) {
    return;
  }
  if (Process.m_Inbox.empty() && !Process.m_Delivery.m_Active) {
    Process.m_Own.Acknowledge(kStream, Received.m_Number);
    return;
  }
  Process.m_Inbox.push_back(Received);
}

void TConvergenceModel::Begin(std::size_t Index) {
  TProcess& Process = m_Processes[Index];
  TPublished const Received = Process.m_Inbox.front();
  Process.m_Inbox.pop_front();
  if (Received.m_Kind == TPublished::TKind::eAcknowledged) {
    Process.m_Own.Acknowledge(kStream, Received.m_Number);
    return;
  }
  bool const Whole = Received.m_Kind == TPublished::TKind::eWhole;
  if (Whole || Received.m_Kind == TPublished::TKind::eStanding) {
    Process.m_Own.CatchUp(kStream, Received.m_Number);
    Process.m_UpTo = Received.m_Number;
    Process.m_Delivery.m_OfOne = Whole ? 0 : Received.m_Number;
  } else if (Received.m_Origin == Index &&
             !Process.m_Own.EndOwn(kStream, Received.m_Number, Process.m_Delivery.m_Held)) {
    return;
  }
  Process.m_Delivery.m_Values = Received.m_Values;
  Process.m_Delivery.m_Active = true;
  Process.m_Delivery.m_Whole = Whole;
  for (auto const& [Key, Value] : Received.m_Values) {
    Process.m_Delivery.m_Named.insert(Key);
  }
}

void TConvergenceModel::Apply(std::size_t Index) {
  TProcess& Process = m_Processes[Index];
  auto const Record = Process.m_Delivery.m_Values.begin();
  auto const [Key, Value] = *Record;
  Process.m_Delivery.m_Values.erase(Record);
  std::string const Name = std::to_string(Key);
  if (Process.m_Own.IsOnWay(kStream, Name) || Process.m_Delivery.m_Held.count(Name) != 0) {
    return;
  }
  if (Value == kNone) {
    Process.m_Store.erase(Key);
    return;
  }
  int const Former = Process.m_Exclusive;
  if (Key == m_Plan->m_ExclusiveKey && Former > Value && Former / 100 == Value / 100) {
    throw std::logic_error("a process reads an older value than it has set");
  }
  Process.m_Store[Key] = Value;
}

// What the whole does not name goes, but for what a change on its way has set.
void TConvergenceModel::End(TProcess& Process) {
  TDelivery const Delivery = std::exchange(Process.m_Delivery, TDelivery());
  for (auto Place = Process.m_Store.begin(); Delivery.m_Whole && Place != Process.m_Store.end();) {
    bool const Stays = Delivery.m_Named.count(Place->first) != 0 ||
                       Process.m_Own.IsOnWay(kStream, std::to_string(Place->first));
    Place = Stays ? std::next(Place) : Process.m_Store.erase(Place);
  }
}

// ---- the connection ----

void TConvergenceModel::Cut(TProcess& Process) {
  Process.m_Connected = false;
  Process.m_ToServer.clear();
  Process.m_FromServer.clear();
  Process.m_OwnToTell.reset();
  Process.m_Behind = false;
  Process.m_ToAcknowledge = 0;
}

void TConvergenceModel::Connect(std::size_t Index, bool Whole) {
  TProcess& Process = m_Processes[Index];
  Process.m_Connected = true;
  if (Whole) {
    Process.m_FromServer.push_back(WholeFor(Index));
  } else {
    for (std::size_t Place = Process.m_Seen; Place < m_Publications.size(); ++Place) {
      if (auto const Published = Forwarded(Index, Process, m_Publications[Place])) {
        Process.m_FromServer.push_back(*Published);
      }
    }
  }
  Process.m_ToServer.assign(Process.m_Outbox.begin(), Process.m_Outbox.end());
}

// ---- the server ----

void TConvergenceModel::Take(std::size_t Index) {
  TProcess& Process = m_Processes[Index];
  TMail const Mail = Process.m_ToServer.front();
  Process.m_ToServer.pop_front();
  if (Mail.m_Number <= m_Server.m_Last[Index]) {
    if (Mail.m_Number <= m_Disk.m_Last[Index]) {
      Acknowledge(Process, Index, Mail.m_Number);
    }
    return;
  }
  if (Mail.m_Number != m_Server.m_Last[Index] + 1) {
    throw std::logic_error("a mail overtakes another of its process");
  }
  m_Server.m_Last[Index] = Mail.m_Number;
  m_Server.m_Log.emplace_back(Index, Mail.m_Number);
  bool const IsForbidden = std::any_of(
      Mail.m_Values.begin(), Mail.m_Values.end(),
      [&Process](auto const& Record) { return Process.m_Hidden.count(Record.first) != 0; });
  if (IsForbidden || Mail.m_Fate != TModelPlan::TFate::eTaken || !IsAsExpected(Mail)) {
    Refuse(Index, Mail);
  } else {
    Publish(Index, Mail);
    if (Mail.m_Conditional) {
      Restore(Index, Mail);  // its place in the order, which its sender has to know
    }
  }
  if (!m_Plan->m_Relaxed) {
    Store();
  }
}

// Changes nothing. The sender is sent what stands, or all where the records were not read; nothing
// where it does not hold the change yet.
void TConvergenceModel::Refuse(std::size_t Index, TMail const& Mail) {
  TProcess& Process = m_Processes[Index];
  if (Mail.m_Conditional) {
    m_Server.m_Refused.emplace(Index, Mail.m_Number);
    return;
  }
  if (Mail.m_Fate == TModelPlan::TFate::eRefusedUnread) {
    FallBehind(Process, Index);
    return;
  }
  Restore(Index, Mail);
}

bool TConvergenceModel::IsAsExpected(TMail const& Mail) const {
  return std::all_of(Mail.m_Expected.begin(), Mail.m_Expected.end(), [this](auto const& Expected) {
    auto const Held = m_Server.m_Values.find(Expected.first);
    return (Held == m_Server.m_Values.end() ? kNone : Held->second) == Expected.second;
  });
}

// Sends what stands to who has sent the mail.
void TConvergenceModel::Restore(std::size_t Index, TMail const& Mail) {
  TProcess& Process = m_Processes[Index];
  TValues Standing;
  TValues const Held = Readable(Process);
  for (auto const& [Key, Value] : Mail.m_Values) {
    auto const Place = Held.find(Key);
    Standing[Key] = Place == Held.end() ? kNone : Place->second;
  }
  m_Publications.push_back(
      {TPublished::TKind::eStanding, Index, Mail.m_Number, Standing, m_Publications.size() + 1});
  Tell(Process, m_Publications.back());
}

void TConvergenceModel::Publish(std::size_t Index, TMail const& Mail) {
  for (auto const& [Key, Value] : Mail.m_Values) {
    m_Server.m_Values[Key] = Value;
  }
  m_Publications.push_back(
      {TPublished::TKind::eMail, Index, Mail.m_Number, Mail.m_Values, m_Publications.size() + 1});
  for (std::size_t Other = 0; Other < m_Processes.size(); ++Other) {
    TProcess& Subscriber = m_Processes[Other];
    auto const Published = Forwarded(Other, Subscriber, m_Publications.back());
    if (Other != Index && Subscriber.m_Connected && Published) {
      Tell(Subscriber, *Published);
    }
  }
  if (!m_Processes[Index].m_Behind) {
    m_Processes[Index].m_OwnToTell = {
        TPublished::TKind::eOwnMails, Index, Mail.m_Number, {}, m_Publications.size()};
  }
}

std::map<int, int> TConvergenceModel::Readable(TProcess const& Process) const {
  TValues Values = m_Server.m_Values;
  for (int const Key : Process.m_Hidden) {
    Values.erase(Key);
  }
  return Values;
}

// What a process is sent of a published mail, if anything.
std::optional<TConvergenceModel::TPublished> TConvergenceModel::Forwarded(std::size_t Index,
                                                                          TProcess const& Process,
                                                                          TPublished Published) {
  using TKind = TPublished::TKind;
  if (Published.m_Kind == TKind::eNeedsWhole ||
      (Published.m_Kind == TKind::eStanding && Published.m_Origin != Index)) {
    return std::nullopt;
  }
  for (auto Place = Published.m_Values.begin(); Place != Published.m_Values.end();) {
    bool const Stays = Place->second == kNone || Process.m_Hidden.count(Place->first) == 0;
    Place = Stays ? std::next(Place) : Published.m_Values.erase(Place);
  }
  return Published.m_Values.empty() ? std::nullopt : std::optional<TPublished>(Published);
}

TConvergenceModel::TPublished TConvergenceModel::WholeFor(std::size_t Index) const {
  return {TPublished::TKind::eWhole, Index, m_Server.m_Last[Index], Readable(m_Processes[Index]),
          m_Publications.size()};
}

// The whole comes in the process's turn. Who is not there then, or goes before, is told by what is
// kept.
void TConvergenceModel::FallBehind(TProcess& Process, std::size_t Concerned) {
  if (Process.m_Connected) {
    Process.m_Behind = true;
    Process.m_OwnToTell.reset();
  }
  m_Publications.push_back(
      {TPublished::TKind::eNeedsWhole, Concerned, 0, {}, m_Publications.size() + 1});
}

void TConvergenceModel::Resume(std::size_t Index) {
  TProcess& Process = m_Processes[Index];
  Process.m_Behind = false;
  Tell(Process, WholeFor(Index));
  if (std::uint64_t const Number = std::exchange(Process.m_ToAcknowledge, 0); Number != 0) {
    Acknowledge(Process, Index, Number);
  }
}

void TConvergenceModel::Hide() {
  TModelPlan::THiding const& Hiding = m_Plan->m_Hidings[m_Hidings++];
  TProcess& Process = m_Processes[Hiding.m_Process];
  Process.m_Hidden.insert(Hiding.m_Key);
  FallBehind(Process, kEverybody);
}

void TConvergenceModel::Store() {
  for (std::size_t Index = 0; Index < m_Processes.size(); ++Index) {
    if (m_Processes[Index].m_Connected && m_Server.m_Last[Index] > m_Disk.m_Last[Index]) {
      Acknowledge(m_Processes[Index], Index, m_Server.m_Last[Index]);
    }
  }
  m_Disk = m_Server;
}

void TConvergenceModel::Acknowledge(TProcess& Process, std::size_t Index, std::uint64_t Number) {
  if (Process.m_Behind) {
    Process.m_ToAcknowledge = std::max(Process.m_ToAcknowledge, Number);
    return;
  }
  Tell(Process, {TPublished::TKind::eAcknowledged, Index, Number, {}, 0});
}

void TConvergenceModel::Tell(TProcess& Process, TPublished const& Published) {
  if (!Process.m_Behind) {
    TellOfOwn(Process);
    Process.m_FromServer.push_back(Published);
  }
}

void TConvergenceModel::TellOfOwn(TProcess& Process) {
  if (Process.m_OwnToTell) {
    Process.m_FromServer.push_back(*std::exchange(Process.m_OwnToTell, std::nullopt));
  }
}

void TConvergenceModel::Crash() {
  --m_CrashesLeft;
  m_Server = m_Disk;
  m_Publications.clear();
  for (TProcess& Process : m_Processes) {
    Cut(Process);
    Process.m_NewEpoch = true;
    Process.m_Seen = 0;
  }
}
