// SPDX-License-Identifier: MIT
// The steps of the world, and the walk over all of its states.
#include "tests/model/ConvergenceModel.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

namespace {

constexpr char kStream[] = "values";

using TValues = std::map<int, int>;

void AppendTo(std::string& Text, TValues const& Values) {
  for (auto const& [Key, Value] : Values) {
    Text += std::to_string(Key) + "=" + std::to_string(Value) + ",";
  }
  Text += ';';
}

}  // namespace

TConvergenceModel::TConvergenceModel(TModelPlan const& Plan)
    : m_Plan(&Plan), m_CutsLeft(Plan.m_Cuts), m_CrashesLeft(Plan.m_Crashes) {
  for (auto const& Programs : Plan.m_Processes) {
    m_Processes.emplace_back().m_Threads.resize(Programs.size());
  }
  m_Server.m_Last.resize(m_Processes.size());
  m_Disk = m_Server;
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
      if (MayReplay(Process)) {
        Result.push_back({TKind::eConnect, Index, 0});
      }
    } else if (m_CutsLeft > 0) {
      Result.push_back({TKind::eCut, Index, 0});
    }
  }
  if (m_Plan->m_Relaxed && m_Disk.m_Log.size() < m_Server.m_Log.size()) {
    Result.push_back({TKind::eStore, 0, 0});
  }
  if (m_CrashesLeft > 0) {
    Result.push_back({TKind::eCrash, 0, 0});
  }
  return Result;
}

void TConvergenceModel::AddThreadSteps(std::size_t Process, std::vector<TStep>& Steps) const {
  auto const& Threads = m_Processes[Process].m_Threads;
  for (std::size_t Thread = 0; Thread < Threads.size(); ++Thread) {
    if (Threads[Thread].m_Marked) {
      Steps.push_back({TStep::TKind::eSend, Process, Thread});
    } else if (Threads[Thread].m_Done < m_Plan->m_Processes[Process][Thread].size()) {
      Steps.push_back({TStep::TKind::eSet, Process, Thread});
    }
  }
}

// The mails of another epoch say nothing of what was missed.
bool TConvergenceModel::MayReplay(TProcess const& Process) const {
  return !Process.m_NewEpoch;
}

void TConvergenceModel::Step(std::size_t Index) {
  using TKind = TStep::TKind;
  TStep const Step = Steps().at(Index);
  TProcess& Process = m_Processes[Step.m_Process];
  switch (Step.m_Kind) {
    case TKind::eSet: {
      TThread& Thread = Process.m_Threads[Step.m_Thread];
      auto const& Program = m_Plan->m_Processes[Step.m_Process][Step.m_Thread];
      // Unique: says who set it, and as its how-manieth change.
      int const Value =
          static_cast<int>(100 * Step.m_Process + 10 * Step.m_Thread + Thread.m_Done + 1);
      Set(Step.m_Process, Thread, Program[Thread.m_Done], Value);
      break;
    }
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
      Process.m_Delivery = TDelivery();
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
  }
}

// ---- the process ----

void TConvergenceModel::Set(std::size_t Process, TThread& Thread, TModelPlan::TSet const& Set,
                            int Value) {
  std::vector<std::string> Keys;
  for (int const Key : Set.m_Keys) {
    m_Processes[Process].m_Store[Key] = Value;
    Thread.m_Values[Key] = Value;
    Keys.push_back(std::to_string(Key));
  }
  Thread.m_Mark = m_Processes[Process].m_Own.Mark(kStream, Keys);
  Thread.m_Marked = true;
  ++Thread.m_Done;
}

void TConvergenceModel::Send(TProcess& Process, TThread& Thread) {
  TMail const Mail{++Process.m_LastNumber, Thread.m_Values};
  Process.m_Own.Sent(Thread.m_Mark, Mail.m_Number);
  Process.m_Outbox.push_back(Mail);
  if (Process.m_Connected) {
    Process.m_ToServer.push_back(Mail);
  }
  Thread.m_Values.clear();
  Thread.m_Marked = false;
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
      if (Mail.m_Number > Process.m_OwnPublished && Mail.m_Number <= Received.m_Number) {
        ReceiveMail(Index, {TKind::eMail, Index, Mail.m_Number, Mail.m_Values});
      }
    }
    Process.m_OwnPublished = Received.m_Number;
    return;
  }
  if (Received.m_Kind == TKind::eCatchUp) {
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
  if (Received.m_Kind == TPublished::TKind::eCatchUp) {
    Process.m_Own.CatchUp(kStream, Received.m_Number);
  } else if (Received.m_Origin == Index &&
             !Process.m_Own.EndOwn(kStream, Received.m_Number, Process.m_Delivery.m_Held)) {
    return;
  }
  Process.m_Delivery.m_Values = Received.m_Values;
  Process.m_Delivery.m_Active = true;
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
  int const Former = Process.m_Store[Key];
  if (Key == m_Plan->m_ExclusiveKey && Former > Value && Former / 100 == Value / 100) {
    throw std::logic_error("a process reads an older value than it has set");
  }
  Process.m_Store[Key] = Value;
}

// ---- the connection ----

void TConvergenceModel::Cut(TProcess& Process) {
  Process.m_Connected = false;
  Process.m_ToServer.clear();
  Process.m_FromServer.clear();
  Process.m_OwnToTell.reset();
}

void TConvergenceModel::Connect(std::size_t Index, bool Whole) {
  TProcess& Process = m_Processes[Index];
  Process.m_Connected = true;
  if (Whole) {
    Process.m_FromServer.push_back({TPublished::TKind::eCatchUp, Index, m_Server.m_Last[Index],
                                    m_Server.m_Values, m_Publications.size()});
  } else {
    Process.m_FromServer.assign(
        m_Publications.begin() + static_cast<std::ptrdiff_t>(Process.m_Seen), m_Publications.end());
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
      Tell(Process, {TPublished::TKind::eAcknowledged, Index, Mail.m_Number, {}, 0});
    }
    return;
  }
  if (Mail.m_Number != m_Server.m_Last[Index] + 1) {
    throw std::logic_error("a mail overtakes another of its process");
  }
  for (auto const& [Key, Value] : Mail.m_Values) {
    m_Server.m_Values[Key] = Value;
  }
  m_Server.m_Last[Index] = Mail.m_Number;
  m_Server.m_Log.emplace_back(Index, Mail.m_Number);
  m_Publications.push_back(
      {TPublished::TKind::eMail, Index, Mail.m_Number, Mail.m_Values, m_Publications.size() + 1});
  for (TProcess& Subscriber : m_Processes) {
    if (&Subscriber != &Process && Subscriber.m_Connected) {
      Tell(Subscriber, m_Publications.back());
    }
  }
  Process.m_OwnToTell = {
      TPublished::TKind::eOwnMails, Index, Mail.m_Number, {}, m_Publications.size()};
  if (!m_Plan->m_Relaxed) {
    Store();
  }
}

void TConvergenceModel::Store() {
  for (std::size_t Index = 0; Index < m_Processes.size(); ++Index) {
    if (m_Processes[Index].m_Connected && m_Server.m_Last[Index] > m_Disk.m_Last[Index]) {
      Tell(m_Processes[Index],
           {TPublished::TKind::eAcknowledged, Index, m_Server.m_Last[Index], {}, 0});
    }
  }
  m_Disk = m_Server;
}

void TConvergenceModel::Tell(TProcess& Process, TPublished const& Published) {
  TellOfOwn(Process);
  Process.m_FromServer.push_back(Published);
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

// ---- the states ----

std::string TConvergenceModel::Fingerprint() const {
  std::string Text = std::to_string(m_CutsLeft) + ' ' + std::to_string(m_CrashesLeft) + ' ';
  auto const AppendPublished = [&Text](TPublished const& Published) {
    Text += std::to_string(static_cast<int>(Published.m_Kind)) + ':' +
            std::to_string(Published.m_Origin) + ':' + std::to_string(Published.m_Number) + ':';
    AppendTo(Text, Published.m_Values);
  };
  for (TServer const* Server : {&m_Server, &m_Disk}) {
    AppendTo(Text, Server->m_Values);
    for (std::uint64_t const Last : Server->m_Last) {
      Text += std::to_string(Last) + ' ';
    }
  }
  if (m_CutsLeft > 0 || std::any_of(m_Processes.begin(), m_Processes.end(),
                                    [](TProcess const& Process) { return !Process.m_Connected; })) {
    std::for_each(m_Publications.begin(), m_Publications.end(), AppendPublished);
  }
  for (TProcess const& Process : m_Processes) {
    Text += "\nprocess ";
    std::vector<TCOwnChanges::TCMark> Marks;
    for (TThread const& Thread : Process.m_Threads) {
      Text += std::to_string(Thread.m_Done) + (Thread.m_Marked ? "m" : "-");
      AppendTo(Text, Thread.m_Values);
      if (Thread.m_Marked) {
        Marks.push_back(Thread.m_Mark);
      }
    }
    for (TCOwnChanges::TCMark const Mark : Marks) {
      Text += std::to_string(
          std::count_if(Marks.begin(), Marks.end(), [Mark](auto Other) { return Other < Mark; }));
    }
    AppendTo(Text, Process.m_Store);
    Text += Process.m_Own.get_AsText();
    Text += Process.m_Connected ? "\nconnected " : "\napart ";
    Text += Process.m_NewEpoch ? "new " : "";
    Text += std::to_string(Process.m_Seen) + " to ";
    for (TMail const& Mail : Process.m_ToServer) {
      Text += std::to_string(Mail.m_Number) + ' ';
    }
    Text += "outbox ";
    for (TMail const& Mail : Process.m_Outbox) {
      Text += std::to_string(Mail.m_Number) + ':';
      AppendTo(Text, Mail.m_Values);
    }
    Text += " from ";
    std::for_each(Process.m_FromServer.begin(), Process.m_FromServer.end(), AppendPublished);
    if (Process.m_OwnToTell) {
      AppendPublished(*Process.m_OwnToTell);
    }
    Text += std::to_string(Process.m_OwnPublished) + " inbox ";
    std::for_each(Process.m_Inbox.begin(), Process.m_Inbox.end(), AppendPublished);
    if (Process.m_Delivery.m_Active) {
      Text += " delivery ";
      AppendTo(Text, Process.m_Delivery.m_Values);
      for (std::string const& Key : Process.m_Delivery.m_Held) {
        Text += Key + ' ';
      }
    }
  }
  return Text;
}

std::string TConvergenceModel::FinalFault() const {
  for (std::size_t Index = 0; Index < m_Processes.size(); ++Index) {
    TProcess const& Process = m_Processes[Index];
    if (Process.m_Store != m_Server.m_Values) {
      std::string Text = "process " + std::to_string(Index) + " holds ";
      AppendTo(Text, Process.m_Store);
      Text += " the server ";
      AppendTo(Text, m_Server.m_Values);
      return Text;
    }
    if (!Process.m_Outbox.empty() || Process.m_Own.HasUpTo(kStream, UINT64_MAX)) {
      return "process " + std::to_string(Index) + " still waits for its changes";
    }
    std::uint64_t Taken = 0;  // each once and in order
    for (auto const& [Origin, Number] : m_Disk.m_Log) {
      if (Origin == Index && Number != ++Taken) {
        return "a mail was taken twice, or out of order";
      }
    }
    if (Taken != Process.m_LastNumber) {
      return "a mail was not taken";
    }
  }
  return std::string();
}

std::size_t Explore(TModelPlan const& Plan) {
  std::unordered_set<std::string> Visited;
  struct TFrame {
    TConvergenceModel m_State;
    std::size_t m_Next = 0;
  };
  std::vector<TFrame> Path;
  Path.push_back({TConvergenceModel(Plan)});
  Visited.insert(Path.back().m_State.Fingerprint());
  try {
    while (!Path.empty()) {
      TFrame& Frame = Path.back();
      std::size_t const Count = Frame.m_State.CountSteps();
      if (Count == 0) {
        std::string const Fault = Frame.m_State.FinalFault();
        if (!Fault.empty()) {
          throw std::logic_error(Fault);
        }
      }
      if (Frame.m_Next == Count) {
        Path.pop_back();
        continue;
      }
      TConvergenceModel Next = Frame.m_State;
      Next.Step(Frame.m_Next++);
      if (Visited.insert(Next.Fingerprint()).second) {
        Path.push_back({std::move(Next)});
      }
    }
  } catch (std::logic_error const& Fault) {
    std::string Text = std::string(Fault.what()) + "\nafter the steps";
    for (TFrame const& Frame : Path) {
      Text += ' ' + std::to_string(Frame.m_Next == 0 ? 0 : Frame.m_Next - 1);
    }
    for (TFrame const& Frame : Path) {
      Text += "\n----\n" + Frame.m_State.Fingerprint();
    }
    throw std::logic_error(Text);
  }
  return Visited.size();
}
