// SPDX-License-Identifier: MIT
// What the server does with mails, and what it tells the processes.
#include "tests/model/TCModelServer.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

TCModelServer::TCModelServer(TSModelPlan const& Plan)
    : m_Plan(&Plan),
      m_Now(TSLedger{{}, std::vector<std::uint64_t>(Plan.m_Processes.size()), {}, {}}),
      m_Disk(m_Now),
      m_Published(std::vector<TSModelPublished>()) {
  for (std::size_t Process = 0; Process < Plan.m_Processes.size(); ++Process) {
    m_Connections.emplace_back(TSConnection());
  }
}

// ---- mails ----

void TCModelServer::Post(std::size_t Process, std::vector<TSModelMail> const& Mails) {
  if (!Mails.empty()) {
    auto& OnWay = m_Connections[Process].Change().m_Mails;
    OnWay.insert(OnWay.end(), Mails.begin(), Mails.end());
  }
}

void TCModelServer::Take(std::size_t Process) {
  auto& OnWay = m_Connections[Process].Change().m_Mails;
  TSModelMail const Mail = OnWay.front();
  OnWay.erase(OnWay.begin());
  if (Mail.m_Number <= m_Now->m_Last[Process]) {
    if (Mail.m_Number <= m_Disk->m_Last[Process]) {
      Acknowledge(Process, Mail.m_Number);
    }
    if (!m_Plan->Has(TSModelPlan::TEDefect::eRepeatsAreTaken)) {
      return;
    }
  } else if (Mail.m_Number != m_Now->m_Last[Process] + 1) {
    throw std::logic_error("a mail overtakes another of its process");
  }
  TSLedger& Ledger = m_Now.Change();
  Ledger.m_Last[Process] = Mail.m_Number;
  if (!m_Plan->Has(TSModelPlan::TEDefect::eUntakenIsAcknowledged)) {
    Ledger.m_Log.emplace_back(Process, Mail.m_Number);
    if (IsAllowed(Process, Mail) && IsAsExpected(Mail)) {
      Publish(Process, Mail);
    } else {
      Refuse(Process, Mail);
    }
  }
  if (!m_Plan->m_Relaxed) {
    Store();
  }
}

bool TCModelServer::IsAllowed(std::size_t Process, TSModelMail const& Mail) const {
  auto const& Hidden = m_Connections[Process]->m_Hidden;
  return Mail.m_Fate == TSModelPlan::TEFate::eTaken &&
         std::none_of(Mail.m_Values.begin(), Mail.m_Values.end(),
                      [&Hidden](auto const& Record) { return Hidden.count(Record.first) != 0; });
}

bool TCModelServer::IsAsExpected(TSModelMail const& Mail) const {
  auto const& Values = m_Now->m_Values;
  return std::all_of(Mail.m_Expected.begin(), Mail.m_Expected.end(),
                     [&Values](auto const& Expected) {
                       auto const Held = Values.find(Expected.first);
                       return (Held == Values.end() ? kNoValue : Held->second) == Expected.second;
                     });
}

// Changes nothing. The sender is sent what stands, or all where the records were not read; nothing
// where it does not hold the change yet.
void TCModelServer::Refuse(std::size_t Process, TSModelMail const& Mail) {
  if (Mail.m_Conditional) {
    m_Now.Change().m_Refused.emplace(Process, Mail.m_Number);
  } else if (Mail.m_Fate == TSModelPlan::TEFate::eRefusedUnread) {
    FallBehind(Process, Process);
  } else if (!m_Plan->Has(TSModelPlan::TEDefect::eRefusalIsNotTold)) {
    Restore(Process, Mail);
  }
}

void TCModelServer::Publish(std::size_t Process, TSModelMail const& Mail) {
  for (auto const& [Key, Value] : Mail.m_Values) {
    m_Now.Change().m_Values[Key] = Value;
  }
  Keep({TSModelPublished::TEKind::eMail, Process, Mail.m_Number, Mail.m_Values, {}});
  for (std::size_t Other = 0; Other < m_Connections.size(); ++Other) {
    auto const Published = Forwarded(Other, m_Published->back());
    if (Other != Process && IsConnected(Other) && Published) {
      Tell(Other, *Published);
    }
  }
  if (!IsBehind(Process)) {
    m_Connections[Process].Change().m_OwnToTell = {
        TSModelPublished::TEKind::eOwnMails, Process, Mail.m_Number, {}, NewestPlace()};
  }
  if (Mail.m_Conditional) {
    Restore(Process, Mail);  // its place in the order, which its sender has to know
  }
}

// Sends what stands to who has sent the mail.
void TCModelServer::Restore(std::size_t Process, TSModelMail const& Mail) {
  TCModelValues Standing;
  TCModelValues const Held = Readable(Process);
  for (auto const& [Key, Value] : Mail.m_Values) {
    auto const Place = Held.find(Key);
    Standing[Key] = Place == Held.end() ? kNoValue : Place->second;
  }
  Keep({TSModelPublished::TEKind::eStanding, Process, Mail.m_Number, Standing, {}});
  Tell(Process, m_Published->back());
}

void TCModelServer::Keep(TSModelPublished Published) {
  Published.m_Position = {m_Epoch, m_Published->size() + 1};
  m_Published.Change().push_back(std::move(Published));
}

void TCModelServer::Store() {
  for (std::size_t Process = 0; Process < m_Connections.size(); ++Process) {
    if (IsConnected(Process) && m_Now->m_Last[Process] > m_Disk->m_Last[Process]) {
      Acknowledge(Process, m_Now->m_Last[Process]);
    }
  }
  m_Disk = m_Now;
}

void TCModelServer::Acknowledge(std::size_t Process, std::uint64_t Number) {
  if (m_Plan->Has(TSModelPlan::TEDefect::eNothingIsAcknowledged)) {
    return;
  }
  if (IsBehind(Process)) {
    std::uint64_t& Last = m_Connections[Process].Change().m_ToAcknowledge;
    Last = std::max(Last, Number);
    return;
  }
  Tell(Process, {TSModelPublished::TEKind::eAcknowledged, Process, Number, {}, {}});
}

// ---- what the processes are told ----

// What a process is sent of a published mail, if anything.
std::optional<TSModelPublished> TCModelServer::Forwarded(std::size_t Process,
                                                         TSModelPublished Published) const {
  using TEKind = TSModelPublished::TEKind;
  if (Published.m_Kind == TEKind::eNeedsWhole ||
      (Published.m_Kind == TEKind::eStanding && Published.m_Origin != Process)) {
    return std::nullopt;
  }
  auto const& Hidden = m_Connections[Process]->m_Hidden;
  for (auto Place = Published.m_Values.begin(); Place != Published.m_Values.end();) {
    bool const Stays = Place->second == kNoValue || Hidden.count(Place->first) == 0;
    Place = Stays ? std::next(Place) : Published.m_Values.erase(Place);
  }
  return Published.m_Values.empty() ? std::nullopt : std::optional<TSModelPublished>(Published);
}

void TCModelServer::Tell(std::size_t Process, TSModelPublished const& Published) {
  if (IsBehind(Process)) {
    return;
  }
  TSConnection& Connection = m_Connections[Process].Change();
  if (Connection.m_OwnToTell) {
    Append(Connection, *std::exchange(Connection.m_OwnToTell, std::nullopt));
  }
  Append(Connection, Published);
}

void TCModelServer::Append(TSConnection& Connection, TSModelPublished Published) const {
  if (Published.m_Kind != TSModelPublished::TEKind::eAcknowledged) {
    bool const Skips = m_Plan->Has(TSModelPlan::TEDefect::ePlaceIsSkipped);
    Published.m_Previous = Connection.m_Place + (Skips ? 1U : 0U);
    Connection.m_Place = Published.m_Position.Sequence;
  }
  Connection.m_Told.push_back(std::move(Published));
}

TSModelPublished TCModelServer::TakeTold(std::size_t Process) {
  auto& Told = m_Connections[Process].Change().m_Told;
  TSModelPublished First = Told.front();
  Told.erase(Told.begin());
  return First;
}

TSModelPublished TCModelServer::WholeFor(std::size_t Process) const {
  return {TSModelPublished::TEKind::eWhole, Process, m_Now->m_Last[Process], Readable(Process),
          NewestPlace()};
}

// The whole comes in the process's turn. Who is not there then, or goes before, is told by what is
// kept.
void TCModelServer::FallBehind(std::size_t Process, std::size_t Concerned) {
  if (IsConnected(Process)) {
    TSConnection& Connection = m_Connections[Process].Change();
    Connection.m_Behind = true;
    Connection.m_OwnToTell.reset();
  }
  Keep({TSModelPublished::TEKind::eNeedsWhole, Concerned, 0, {}, {}});
}

void TCModelServer::Resume(std::size_t Process) {
  TSConnection& Connection = m_Connections[Process].Change();
  Connection.m_Behind = false;
  Tell(Process, WholeFor(Process));
  if (std::uint64_t const Number = std::exchange(Connection.m_ToAcknowledge, 0); Number != 0) {
    Acknowledge(Process, Number);
  }
}

void TCModelServer::Hide() {
  TSModelPlan::TSHiding const& Hiding = m_Plan->m_Hidings[m_Hidings++];
  m_Connections[Hiding.m_Process].Change().m_Hidden.insert(Hiding.m_Key);
  FallBehind(Hiding.m_Process, kEverybody);
}

TCModelValues TCModelServer::Readable(std::size_t Process) const {
  TCModelValues Values = m_Now->m_Values;
  for (int const Key : m_Connections[Process]->m_Hidden) {
    Values.erase(Key);
  }
  return Values;
}

bool TCModelServer::WasRefused(std::size_t Process, std::uint64_t Number) const {
  return m_Disk->m_Refused.count({Process, Number}) != 0;
}

// ---- connections ----

void TCModelServer::Cut(std::size_t Process) {
  TSConnection& Connection = m_Connections[Process].Change();
  std::set<int> Hidden = std::move(Connection.m_Hidden);
  Connection = TSConnection();
  Connection.m_Connected = false;
  Connection.m_Hidden = std::move(Hidden);
}

void TCModelServer::Connect(std::size_t Process, Wire::TSPosition const& Received, bool Whole) {
  TSConnection& Connection = m_Connections[Process].Change();
  Connection.m_Connected = true;
  if (Whole) {
    Append(Connection, WholeFor(Process));
    return;
  }
  Connection.m_Place = Received.Sequence;
  for (std::size_t Place = Received.Sequence; Place < m_Published->size(); ++Place) {
    if (auto const Published = Forwarded(Process, (*m_Published)[Place])) {
      Append(Connection, *Published);
    }
  }
}

// The mails of another epoch say nothing of what was missed, and some need more than mails.
bool TCModelServer::MayReplay(std::size_t Process, Wire::TSPosition const& Received) const {
  if (Received.Epoch != m_Epoch) {
    return false;
  }
  auto const First = m_Published->begin() + static_cast<std::ptrdiff_t>(Received.Sequence);
  return std::none_of(First, m_Published->end(), [Process](TSModelPublished const& Published) {
    return Published.m_Kind == TSModelPublished::TEKind::eNeedsWhole &&
           (Published.m_Origin == Process || Published.m_Origin == kEverybody);
  });
}

bool TCModelServer::AreAllConnected() const {
  return std::all_of(m_Connections.begin(), m_Connections.end(),
                     [](auto const& Connection) { return Connection->m_Connected; });
}

void TCModelServer::Crash() {
  m_Now = m_Disk;
  m_Published = TCSharedPart(std::vector<TSModelPublished>());
  ++m_Epoch;
  for (std::size_t Process = 0; Process < m_Connections.size(); ++Process) {
    Cut(Process);
  }
}

std::string TCModelServer::FaultOfTaken(std::size_t Process, std::uint64_t Last) const {
  std::uint64_t Taken = 0;
  for (auto const& [Origin, Number] : m_Disk->m_Log) {
    if (Origin == Process && Number != ++Taken) {
      return "a mail was taken twice, or out of order";
    }
  }
  return Taken == Last ? std::string() : "a mail was not taken";
}
