// SPDX-License-Identifier: MIT
// Starts, kills, stops and cuts as planned, and collects the evidence.
#include "tests/fault/soak/SoakRound.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <thread>
#include <utility>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/support/Hex.h"

namespace {

constexpr std::size_t kFences = 2;

std::set<std::string> ReadLines(std::string const& Path) {
  std::set<std::string> Lines;
  std::ifstream File(Path);
  std::string Line;
  while (std::getline(File, Line)) {
    Lines.insert(Line);
  }
  return Lines;
}

TSSoakStamp StampOf(int Number, std::string const& Data) {
  return ReadValue(Number, Data).value_or(TSSoakStamp());
}

// Lines before that one are left out.
void HearUntil(TSoakProcess& Process, std::string const& Beginning) {
  while (Process.Hear().compare(0, Beginning.size(), Beginning) != 0) {
  }
}

void ExpectEnd(std::string const& Name, int Code) {
  if (Code != 0) {
    throw std::runtime_error(Name + " ended with code " + std::to_string(Code));
  }
}

}  // namespace

TSoakRound::TSoakRound(TSSoakPrograms Programs, TSSoakPlan Plan, std::string Folder)
    : m_Programs(std::move(Programs)),
      m_Plan(std::move(Plan)),
      m_Folder(std::move(Folder)),
      m_Clients(m_Plan.Clients.size()),
      m_Lives(m_Plan.Clients.size()) {
  m_Record.Relaxed = m_Plan.Relaxed;
}

TSSoakRecord TSoakRound::Run() {
  std::ofstream(File("server.toml")) << "[history]\nentries = 100000000\nbytes = 100000000000\n";
  m_Relay = std::make_unique<TSoakRelay>(File("socket"), PortPaths());
  StartAll();
  SufferFaults();
  Settle();
  EndAll();
  for (TSSoakLife& Life : m_Record.Lives) {
    Life.Journal = TSSoakJournal::Read(File(Life.Name + ".journal"));
  }
  ReadDatabase();
  return std::move(m_Record);
}

TSSoakCounts TSoakRound::get_Counts() const {
  TSSoakCounts Counts = m_Counts;
  Counts.Cuts = m_Relay == nullptr ? 0 : m_Relay->get_Cuts();
  return Counts;
}

std::vector<std::string> TSoakRound::PortPaths() const {
  std::vector<std::string> Paths;
  for (std::size_t Client = 0; Client < m_Plan.Clients.size(); ++Client) {
    Paths.push_back(File("port." + std::to_string(Client)));
  }
  return Paths;
}

// ---- starting ----

void TSoakRound::StartServer() {
  m_Server = std::make_shared<TSoakProcess>(
      std::vector<std::string>{m_Programs.Server, "--address", "unix:path=" + File("socket"),
                               "--database", File("values.db"), "--config", File("server.toml"),
                               "--durability", m_Plan.Relaxed ? "relaxed" : "full"},
      std::map<std::string, std::string>(), File("server.log"));
}

void TSoakRound::StartClient(std::size_t Client) {
  TSSoakClient const& Planned = m_Plan.Clients[Client];
  std::size_t const Number = m_Record.Lives.size();
  m_Lives[Client] = Number;
  TSSoakLife Life;
  Life.Name = (Planned.Streams == 0 ? "listener-" : "writer-") + std::to_string(Number);
  Life.Listens = Planned.Streams == 0;
  m_Record.Lives.push_back(Life);
  m_Clients[Client] = std::make_shared<TSoakProcess>(
      std::vector<std::string>{m_Programs.Client, File(Life.Name), std::to_string(Planned.Streams),
                               std::to_string(Number * kThreadsAtMost + 1),
                               std::to_string(Client * kThreadsAtMost + 1),
                               std::to_string(m_Plan.Seed + Number * kThreadsAtMost)},
      std::map<std::string, std::string>{
          {"MAILROUTER_ADDRESS",
           "unix:path=" + (Planned.Relayed ? PortPaths()[Client] : File("socket"))},
          {"PROPERTY_OWN_MAC", Client % 2 == 0 ? "02:00:00:00:00:01" : "02:00:00:00:00:02"}},
      File(Life.Name + ".log"));
}

void TSoakRound::StartAll() {
  StartServer();
  for (std::size_t Client = 0; Client < m_Clients.size(); ++Client) {
    StartClient(Client);
  }
}

// ---- faults ----

void TSoakRound::Later(std::chrono::milliseconds Delay, std::function<void()> Action) {
  m_Later.emplace(std::chrono::steady_clock::now() + Delay, std::move(Action));
}

// Does what is due until then; all of it, however late, when there is no end.
void TSoakRound::WaitUntil(std::optional<TCTime> End) {
  while (!m_Later.empty() && (!End || m_Later.begin()->first < *End)) {
    auto const Next = m_Later.extract(m_Later.begin());
    std::this_thread::sleep_until(Next.key());
    Next.mapped()();
  }
  if (End) {
    std::this_thread::sleep_until(*End);
  }
}

void TSoakRound::SufferFaults() {
  HearUntil(*m_Server, "ready");
  for (auto const& Client : m_Clients) {
    HearUntil(*Client, "done start");
  }
  auto const Begin = std::chrono::steady_clock::now();
  for (TSSoakFault const& Fault : m_Plan.Faults) {
    WaitUntil(Begin + Fault.At);
    Apply(Fault);
  }
  WaitUntil(Begin + m_Plan.End);
  WaitUntil(std::nullopt);
}

// What befalls a process that is dead at the time is left out.
void TSoakRound::Apply(TSSoakFault const& Fault) {
  switch (Fault.Kind) {
    case TESoakFault::eKillServer:
      KillServer(Fault);
      break;
    case TESoakFault::eKillClient:
      KillClient(Fault);
      break;
    case TESoakFault::eKillBoth:
      KillServer(Fault);
      KillClient(Fault);
      break;
    case TESoakFault::eStopServer:
      Stop(m_Server, Fault.Length);
      break;
    case TESoakFault::eStopClient:
      ++PresentLife(Fault.Client).Interruptions;
      Stop(m_Clients[Fault.Client], Fault.Length);
      break;
    case TESoakFault::eCutClient:
      Cut(Fault);
      break;
  }
}

TSSoakLife& TSoakRound::PresentLife(std::size_t Client) {
  return m_Record.Lives[m_Lives[Client]];
}

void TSoakRound::Cut(TSSoakFault const& Fault) {
  auto const Direction =
      Fault.ToRouter ? TSoakRelay::TEDirection::eToRouter : TSoakRelay::TEDirection::eFromRouter;
  if (m_Relay->Cut(Fault.Client, Direction, Fault.Bytes)) {
    ++PresentLife(Fault.Client).Interruptions;
  }
}

void TSoakRound::KillServer(TSSoakFault const& Fault) {
  if (!m_Server->IsAlive()) {
    return;
  }
  m_Server->Kill();
  ++m_Counts.ServerKills;
  for (TSSoakLife& Life : m_Record.Lives) {
    ++Life.Interruptions;
  }
  m_Record.Deaths.push_back(StoredTransaction());
  Later(Fault.Length, [this] { StartServer(); });
}

void TSoakRound::KillClient(TSSoakFault const& Fault) {
  std::size_t const Client = Fault.Client;
  if (!m_Clients[Client]->IsAlive()) {
    return;
  }
  m_Clients[Client]->Kill();
  ++m_Counts.ClientKills;
  PresentLife(Client).Killed = true;
  Later(Fault.Length, [this, Client] { StartClient(Client); });
}

void TSoakRound::Stop(std::shared_ptr<TSoakProcess> const& Process,
                      std::chrono::milliseconds Length) {
  if (!Process->IsAlive()) {
    return;
  }
  Process->Pause();
  ++m_Counts.Stops;
  Later(Length, [Process] {
    if (Process->IsAlive()) {
      Process->Continue();
    }
  });
}

// Read from a copy, so that the server finds the files as the dead one left them.
std::uint64_t TSoakRound::StoredTransaction() const {
  if (!std::filesystem::exists(File("values.db"))) {
    return 0;
  }
  auto const Options = std::filesystem::copy_options::overwrite_existing;
  std::filesystem::remove(File("copy.db-wal"));
  std::filesystem::copy_file(File("values.db"), File("copy.db"), Options);
  if (std::filesystem::exists(File("values.db-wal"))) {
    std::filesystem::copy_file(File("values.db-wal"), File("copy.db-wal"), Options);
  }
  return Property::TCPropertyDatabase(File("copy.db")).get_LastTransaction();
}

// ---- the end ----

void TSoakRound::Ask(std::string const& Command, std::string const& Argument) {
  for (auto const& Client : m_Clients) {
    Client->Say(Command + " " + Argument);
  }
  for (auto const& Client : m_Clients) {
    HearUntil(*Client, "done " + Command);
  }
}

// Everybody has everything when a change that was made after all others has come to everybody. Who
// makes it has it before it has theirs, so that another makes one more.
void TSoakRound::Settle() {
  Ask("stop", "");
  for (std::size_t Client = 0; Client < kFences; ++Client) {
    std::string const Fence = "fence-" + std::to_string(Client);
    m_Clients[Client]->Say("fence " + Fence);
    Ask("await", Fence);
  }
  Ask("store", "");
  for (std::size_t Client = 0; Client < m_Clients.size(); ++Client) {
    TSSoakLife& Life = PresentLife(Client);
    Life.Store = ReadLines(File(Life.Name + ".store"));
  }
}

void TSoakRound::EndAll() {
  for (std::size_t Client = 0; Client < m_Clients.size(); ++Client) {
    ExpectEnd(PresentLife(Client).Name, m_Clients[Client]->End(0));
  }
  ExpectEnd("the server", m_Server->End(SIGTERM));
}

void TSoakRound::ReadDatabase() {
  Property::TCPropertyDatabase const Database(File("values.db"));
  Database.LoadAll([this](Property::TSPropertyRecord const& Value) {
    m_Record.Database.insert(std::to_string(Value.Number) + " " + Value.Link.get_AsString() + " " +
                             Value.MAC.get_AsString(':') + " " + Hex(Value.Data));
    if (Value.Number == kKept) {
      m_Record.Kept[Value.Link.get_AsInteger()] = Value.Data;
    }
    if (IsStamped(Value.Number)) {
      m_Record.Values[{Value.Number, Value.Link.get_AsInteger()}] =
          StampOf(Value.Number, Value.Data);
    }
  });
  auto const History = Database.ReadHistory(std::numeric_limits<std::int64_t>::max());
  for (auto Entry = History.rbegin(); Entry != History.rend(); ++Entry) {
    int const Number = Entry->Number;
    if (Number == kKept) {
      m_Record.KeptHistory.push_back({Entry->Transaction, Entry->Undoes,
                                      Entry->Link.get_AsInteger(), Entry->From.value_or(kNoValue),
                                      Entry->Removed ? kNoValue : Entry->To});
    }
    if (IsStamped(Number)) {
      m_Record.History.push_back(
          {Entry->Transaction,
           {{Number, Entry->Link.get_AsInteger()}, StampOf(Number, Entry->To)},
           Entry->From ? std::make_optional(StampOf(Number, *Entry->From)) : std::nullopt});
    }
  }
}
