// SPDX-License-Identifier: MIT
// Adds up what rounds have done.
#include "tests/fault/soak/SoakRecord.h"

void TSSoakCounts::Add(TSSoakCounts const& More) {
  Written += More.Written;
  Acknowledged += More.Acknowledged;
  Checked += More.Checked;
  ServerKills += More.ServerKills;
  ClientKills += More.ClientKills;
  Stops += More.Stops;
  Cuts += More.Cuts;
}

std::string TSSoakCounts::ToText() const {
  return std::to_string(Written) + " changes written, " + std::to_string(Acknowledged) +
         " acknowledged, " + std::to_string(Checked) + " entries and notifications checked, " +
         std::to_string(ServerKills) + " + " + std::to_string(ClientKills) +
         " kills of servers and clients, " + std::to_string(Stops) + " stops, " +
         std::to_string(Cuts) + " cuts";
}
