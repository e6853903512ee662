// SPDX-License-Identifier: MIT
// Tells the states of the world apart, judges the last ones, and walks over all of them.
#include <algorithm>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "tests/model/ConvergenceModel.h"

namespace {

void AppendTo(std::string& Text, std::map<int, int> const& Values) {
  for (auto const& [Key, Value] : Values) {
    Text += std::to_string(Key) + "=" + std::to_string(Value) + ",";
  }
  Text += ';';
}

}  // namespace

std::string TConvergenceModel::Fingerprint() const {
  std::string Text = std::to_string(m_CutsLeft) + ' ' + std::to_string(m_CrashesLeft) + ' ' +
                     std::to_string(m_Hidings) + ' ';
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
    for (auto const& [Process, Number] : Server->m_Refused) {
      Text += std::to_string(Process) + '/' + std::to_string(Number) + ' ';
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
      if (Thread.m_Awaited != 0) {
        Text += std::to_string(Thread.m_Awaited);
        Text += Process.m_UpTo >= Thread.m_Awaited ? "come " : "awaited ";
      }
      if (Thread.m_Marked) {
        Marks.push_back(Thread.m_Mark);
      }
    }
    for (TCOwnChanges::TCMark const Mark : Marks) {
      Text += std::to_string(
          std::count_if(Marks.begin(), Marks.end(), [Mark](auto Other) { return Other < Mark; }));
    }
    AppendTo(Text, Process.m_Store);
    Text += std::to_string(Process.m_Exclusive) + ' ';
    Text += Process.m_Own.get_AsText();
    Text += Process.m_Connected ? "\nconnected " : "\napart ";
    Text += Process.m_Behind ? "behind " + std::to_string(Process.m_ToAcknowledge) + ' ' : "";
    Text += Process.m_NewEpoch ? "new " : "";
    Text += std::to_string(Process.m_Seen) + " to ";
    for (TMail const& Mail : Process.m_ToServer) {
      Text += std::to_string(Mail.m_Number) + ' ';
    }
    Text += "outbox ";
    for (TMail const& Mail : Process.m_Outbox) {
      Text += std::to_string(Mail.m_Number) + ':';
      AppendTo(Text, Mail.m_Values);  // they say which set it was, and so its fate
      AppendTo(Text, Mail.m_Expected);
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
      Text += Process.m_Delivery.m_Whole ? "whole " : "";
      Text += std::to_string(Process.m_Delivery.m_OfOne) + ' ';
      for (int const Key : Process.m_Delivery.m_Named) {
        Text += std::to_string(Key) + ' ';
      }
    }
  }
  return Text;
}

std::string TConvergenceModel::FinalFault() const {
  for (std::size_t Index = 0; Index < m_Processes.size(); ++Index) {
    TProcess const& Process = m_Processes[Index];
    if (Process.m_Store != Readable(Process)) {
      std::string Text = "process " + std::to_string(Index) + " holds ";
      AppendTo(Text, Process.m_Store);
      Text += " the server ";
      AppendTo(Text, Readable(Process));
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
