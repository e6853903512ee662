// SPDX-License-Identifier: MIT
// Lets the server's decisions and acknowledgements go wrong.
#include "PropertyTesting/TCTestService.h"

#include <algorithm>
#include <utility>

#include "Platform/Utility/TCException.h"

namespace Property::Testing {

namespace {

constexpr char kSource[] = "../PropertyTesting/TCTestService";

// Who has made the test's own changes, for histories.
TSNorvMailSender Test() {
  TSNorvMailSender Sender;
  Sender.ProcessName = "test";
  return Sender;
}

}  // namespace

TCTestService::TCTestService(TCNorvMailRouter& Router, TCPropertyDatabase& Database,
                             TCConfiguration Configuration, TSTestFaults& Faults,
                             TCTestArrivals& Arrivals)
    : TCPropertyServer(Router, Database, TEDurability::eFull, false, std::move(Configuration)),
      m_Faults(Faults),
      m_Arrivals(Arrivals) {}

TCTestService::~TCTestService() {
  Close();
  Commit();
}

void TCTestService::ChangeNow(std::vector<TSPropertyRecord> Changes) {
  Change(std::move(Changes), Test());
  bool const Stored = Commit();
  m_Arrivals.Add();
  if (!Stored) {
    throw TCException(kSource, __LINE__, "Commit()")
        .Format("the test server can store nothing: %s", FindTrouble().c_str());
  }
}

std::string TCTestService::FindTrouble() const {
  TCStatus const Status = get_Status();
  auto const Trouble = std::find_if(Status.begin(), Status.end(),
                                    [](auto const& Entry) { return Entry.first == "trouble"; });
  return Trouble != Status.end() ? Trouble->second : std::string();
}

std::optional<std::string> TCTestService::FindValue(TCPropertyPlace const& Place) const {
  std::string const* const Data = get_Values().Find(Place);
  return Data != nullptr ? std::optional<std::string>(*Data) : std::nullopt;
}

void TCTestService::AcknowledgeHeld() {
  for (auto const& [Sender, Mail] : std::exchange(m_Held, {})) {
    Acknowledge(Mail);
  }
}

void TCTestService::OnMail(TSNorvReceivedMail const& Mail) {
  m_Arrivals.Add();
  TCPropertyServer::OnMail(Mail);
}

std::string TCTestService::OnDecide(TSNorvMailSender const& /*Sender*/,
                                    std::vector<TSPropertyRecord> const& Changes,
                                    std::vector<TCPropertyPlace>& Places) {
  auto const Forbidden =
      std::find_if(Changes.begin(), Changes.end(), [this](TSPropertyRecord const& Change) {
        return m_Faults.Forbidden.count(Change.Number) != 0;
      });
  if (Forbidden != Changes.end()) {
    Places.push_back(PlaceOf(*Forbidden));
    return "no process may write property " + std::to_string(Forbidden->Number);
  }
  if (m_Faults.Refusals.empty()) {
    return std::string();
  }
  std::string Reason = std::move(m_Faults.Refusals.front());
  m_Faults.Refusals.pop_front();
  return Reason;
}

void TCTestService::OnSettled(TSNorvReceivedMail const& Mail) {
  if (m_Faults.AcknowledgementsHeld) {
    m_Held.insert_or_assign(Mail.Sender->get_Key(), Mail);
  } else {
    TCPropertyServer::OnSettled(Mail);
  }
  m_Arrivals.Add();
}

}  // namespace Property::Testing
