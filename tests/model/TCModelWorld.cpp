// SPDX-License-Identifier: MIT
// What can happen in the world, and who does it.
#include "tests/model/TCModelWorld.h"

using TEKind = TCModelWorld::TSStep::TEKind;

TCModelWorld::TCModelWorld(TSModelPlan const& Plan)
    : m_Plan(&Plan), m_CutsLeft(Plan.m_Cuts), m_CrashesLeft(Plan.m_Crashes), m_Server(Plan) {
  for (std::size_t Process = 0; Process < Plan.m_Processes.size(); ++Process) {
    m_Processes.emplace_back(TCModelProcess(Plan, Process));
  }
}

// ---- what can happen ----

std::vector<TCModelWorld::TSStep> TCModelWorld::Steps() const {
  std::vector<TSStep> Result;
  Result.reserve(16);
  for (std::size_t Process = 0; Process < m_Processes.size(); ++Process) {
    AddThreadSteps(Process, Result);
    AddDeliverySteps(Process, Result);
    AddConnectionSteps(Process, Result);
  }
  if (m_Plan->m_Relaxed && m_Server.HasToStore()) {
    Result.push_back({TEKind::eStore, 0});
  }
  if (m_CrashesLeft > 0) {
    Result.push_back({TEKind::eCrash, 0});
  }
  if (m_Server.HasToHide()) {
    Result.push_back({TEKind::eHide, 0});
  }
  return Result;
}

void TCModelWorld::AddThreadSteps(std::size_t Process, std::vector<TSStep>& Steps) const {
  using TENext = TCModelProcess::TENext;
  TCModelProcess const& Asked = *m_Processes[Process];
  for (std::size_t Thread = 0; Thread < Asked.CountThreads(); ++Thread) {
    switch (Asked.NextOf(Thread)) {
      case TENext::eSet:
        Steps.push_back({TEKind::eSet, Process, Thread});
        break;
      case TENext::eSend:
        Steps.push_back({TEKind::eSend, Process, Thread});
        break;
      case TENext::eAsk:
        Steps.push_back({TEKind::eAsk, Process, Thread});
        break;
      case TENext::eDecide:
        Steps.push_back({TEKind::eDecide, Process, Thread});
        break;
      case TENext::eNothing:
        break;
    }
  }
}

void TCModelWorld::AddDeliverySteps(std::size_t Process, std::vector<TSStep>& Steps) const {
  TCModelProcess const& Asked = *m_Processes[Process];
  if (Asked.HasToApply()) {
    Steps.push_back({TEKind::eApply, Process});
  } else if (Asked.IsDelivering()) {
    Steps.push_back({TEKind::eEnd, Process});
  } else if (Asked.HasToBegin()) {
    Steps.push_back({TEKind::eBegin, Process});
  }
}

void TCModelWorld::AddConnectionSteps(std::size_t Process, std::vector<TSStep>& Steps) const {
  if (m_Server.HasToTake(Process)) {
    Steps.push_back({TEKind::eTake, Process});
  }
  if (m_Server.HasToTell(Process)) {
    Steps.push_back({TEKind::eReceive, Process});
  }
  if (!m_Server.IsConnected(Process)) {
    Steps.push_back({TEKind::eConnectWhole, Process});
    if (m_Server.MayReplay(Process, m_Processes[Process]->get_Received())) {
      Steps.push_back({TEKind::eConnect, Process});
    }
  } else if (m_CutsLeft > 0 && (Process == 0 || !m_Plan->m_CutFirstOnly)) {
    Steps.push_back({TEKind::eCut, Process});
  }
  if (m_Server.IsBehind(Process)) {
    Steps.push_back({TEKind::eResume, Process});
  }
}

// ---- it happens ----

void TCModelWorld::Do(TSStep const& Step) {
  switch (Step.m_Kind) {
    case TEKind::eTake:
      m_Server.Take(Step.m_Process);
      break;
    case TEKind::eStore:
      m_Server.Store();
      break;
    case TEKind::eHide:
      m_Server.Hide();
      break;
    case TEKind::eResume:
      m_Server.Resume(Step.m_Process);
      break;
    case TEKind::eCut:
      --m_CutsLeft;
      Cut(Step.m_Process);
      break;
    case TEKind::eCrash:
      Crash();
      break;
    case TEKind::eConnect:
    case TEKind::eConnectWhole:
    case TEKind::eReceive:
    case TEKind::eDecide:
      DoBetween(Step);
      break;
    default:
      DoInProcess(Step);
      break;
  }
}

void TCModelWorld::DoBetween(TSStep const& Step) {
  std::size_t const Index = Step.m_Process;
  TCModelProcess& Process = m_Processes[Index].Change();
  if (Step.m_Kind == TEKind::eReceive) {
    Process.Receive(m_Server.TakeTold(Index));
  } else if (Step.m_Kind == TEKind::eDecide) {
    Process.Decide(Step.m_Thread, m_Server.WasRefused(Index, Process.get_Awaited(Step.m_Thread)));
  } else {
    m_Server.Connect(Index, Process.get_Received(), Step.m_Kind == TEKind::eConnectWhole);
    Process.Connect();
    Transmit(Index);
  }
}

void TCModelWorld::DoInProcess(TSStep const& Step) {
  TCModelProcess& Process = m_Processes[Step.m_Process].Change();
  switch (Step.m_Kind) {
    case TEKind::eSet:
      Process.Set(Step.m_Thread);
      break;
    case TEKind::eSend:
      Process.Send(Step.m_Thread);
      Transmit(Step.m_Process);
      break;
    case TEKind::eAsk:
      Process.Ask(Step.m_Thread);
      Transmit(Step.m_Process);
      break;
    case TEKind::eBegin:
      Process.Begin();
      break;
    case TEKind::eApply:
      Process.Apply();
      break;
    default:
      Process.End();
      break;
  }
}

void TCModelWorld::Transmit(std::size_t Process) {
  if (m_Server.IsConnected(Process)) {
    m_Server.Post(Process, m_Processes[Process].Change().TakeUnsent());
  }
}

void TCModelWorld::Cut(std::size_t Process) {
  m_Processes[Process].Change().Cut();
  m_Server.Cut(Process);
}

void TCModelWorld::Crash() {
  --m_CrashesLeft;
  m_Server.Crash();
  for (auto& Process : m_Processes) {
    Process.Change().Cut();
  }
}

// ---- what it is like ----

std::u32string TCModelWorld::Key(TCPartNumbers& Numbers) const {
  std::u32string Result;
  Result.push_back(static_cast<char32_t>(m_CutsLeft));
  Result.push_back(static_cast<char32_t>(m_CrashesLeft));
  m_Server.AppendNumbers(Numbers, m_CutsLeft > 0 || !m_Server.AreAllConnected(), Result);
  for (auto const& Process : m_Processes) {
    Result.push_back(Process.get_Number(
        Numbers, [&Numbers](TCModelProcess const& Part) { return Part.Text(Numbers); }));
    Result.push_back(m_Server.PlaceOf(Process->get_Received()));
  }
  return Result;
}

std::string TCModelWorld::get_AsText() const {
  std::string Text = std::to_string(m_CutsLeft) + " cuts, " + std::to_string(m_CrashesLeft) +
                     " crashes left\n" + m_Server.get_AsText();
  for (auto const& Process : m_Processes) {
    Text += '\n' + Process->get_AsText();
  }
  return Text;
}

std::string TCModelWorld::FinalFault() const {
  for (std::size_t Index = 0; Index < m_Processes.size(); ++Index) {
    TCModelProcess const& Process = *m_Processes[Index];
    if (Process.IsWaiting()) {
      return "process " + std::to_string(Index) + " still waits for its changes";
    }
    if (std::string Fault = m_Server.FaultOfTaken(Index, Process.get_LastNumber());
        !Fault.empty()) {
      return Fault;
    }
    if (Process.get_Store() != m_Server.Readable(Index)) {
      std::string Text = "process " + std::to_string(Index) + " holds ";
      AppendText(Text, Process.get_Store());
      Text += " the server ";
      AppendText(Text, m_Server.Readable(Index));
      return Text;
    }
  }
  return std::string();
}
