// SPDX-License-Identifier: MIT
// The property server, with the faults that a test asks for.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyServer.h"
#include "PropertyTesting/TCTestArrivals.h"

namespace Property::Testing {

/// What is to go wrong. Outlives the server's runs; belongs to the router's thread while one runs.
struct TSTestFaults {
  std::deque<std::string> Refusals;  ///< why the next changes are refused
  std::set<int> Forbidden;           ///< properties that nobody may write
  bool AcknowledgementsHeld = false;
};

/// Lives on the router's thread. Refers to what it is made with.
class TCTestService : public TCPropertyServer {
 public:
  TCTestService(TCNorvMailRouter& Router, TCPropertyDatabase& Database,
                TCConfiguration Configuration, TSTestFaults& Faults, TCTestArrivals& Arrivals);
  /// Stores what waits.
  ~TCTestService() override;

  /// Changes values as another process; stored and published when it returns. Throws TCException
  /// when they can not be stored.
  void ChangeNow(std::vector<TSPropertyRecord> Changes);
  std::optional<std::string> FindValue(TCPropertyPlace const& Place) const;
  /// Makes up for the acknowledgements that were withheld.
  void AcknowledgeHeld();

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override;
  std::string OnDecide(TSNorvMailSender const& Sender, std::vector<TSPropertyRecord> const& Changes,
                       std::vector<TCPropertyPlace>& Places) override;
  void OnSettled(TSNorvReceivedMail const& Mail) override;

 private:
  std::string FindTrouble() const;

  TSTestFaults& m_Faults;
  TCTestArrivals& m_Arrivals;
  std::map<TSNorvSenderKey, TSNorvReceivedMail> m_Held;  // of each sender the last
};

}  // namespace Property::Testing
