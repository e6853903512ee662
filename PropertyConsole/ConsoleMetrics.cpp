// SPDX-License-Identifier: MIT
// Names, kinds and explanations of figures.
#include "PropertyConsole/ConsoleMetrics.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "PropertyConsole/QueryParts.h"

namespace Property {
namespace {

constexpr char kCounter[] = "counter";
constexpr char kGauge[] = "gauge";

// One figure, of which there may be several samples with different labels.
class TCMetric {
 public:
  TCMetric(std::string& Text, char const* Name, char const* Kind, char const* Help)
      : m_Text(Text), m_Name(Name) {
    m_Text += "# HELP " + m_Name + " " + Help + "\n# TYPE " + m_Name + " " + Kind + "\n";
  }

  void Add(std::string const& Value, std::string const& Labels = "") {
    m_Text += m_Name + Labels + " " + Value + "\n";
  }
  void Add(std::uint64_t Value, std::string const& Labels = "") {
    Add(std::to_string(Value), Labels);
  }

 private:
  std::string& m_Text;
  std::string const m_Name;
};

struct TSServerMetric {
  char const* Figure;  // as the server names it
  char const* Name;
  char const* Kind;
  char const* Help;
};

constexpr TSServerMetric kServerMetrics[] = {
    {"values", "property_server_values", kGauge, "Stored values."},
    {"peers", "property_server_peers", kGauge, "Connections of programs."},
    {"sequence", "property_server_sequence", kGauge, "Number of the last published mail."},
    {"taken mails", "property_server_taken_mails_total", kCounter, "Mails with changes, taken."},
    {"refused mails", "property_server_refused_mails_total", kCounter,
     "Mails with changes, refused or malformed."},
    {"waiting mails", "property_server_waiting_mails", kGauge,
     "Mails with changes that are taken and not stored yet."},
    {"commits", "property_server_commits_total", kCounter, "Transactions of the database."},
};

std::optional<std::uint64_t> CountIn(std::string const& Value) {
  auto const Number = ReadNumber(Value);
  return Number && *Number >= 0 ? std::optional(static_cast<std::uint64_t>(*Number)) : std::nullopt;
}

// Of microseconds.
std::string AsSeconds(std::uint64_t Microseconds) {
  constexpr std::uint64_t kMillion = 1000000;
  std::string const Fraction = std::to_string(kMillion + Microseconds % kMillion);
  return std::to_string(Microseconds / kMillion) + "." + Fraction.substr(1);
}

}  // namespace

std::string ConsoleMetrics(TSConsoleCounters const& Counters, TSConsoleGauges const& Gauges) {
  std::string Text;
  TCMetric Answers(Text, "property_console_requests_total", kCounter,
                   "Answered requests, by the class of the status.");
  for (std::size_t Class = 2; Class < TSConsoleCounters::kClasses; ++Class) {
    Answers.Add(Counters.Answers[Class], "{status=\"" + std::to_string(Class) + "xx\"}");
  }
  TCMetric SignIns(Text, "property_console_sign_ins_total", kCounter, "Tries to sign in.");
  SignIns.Add(Counters.SignIns, "{result=\"done\"}");
  SignIns.Add(Counters.FailedSignIns, "{result=\"failed\"}");
  SignIns.Add(Counters.SlowedSignIns, "{result=\"too_many\"}");
  TCMetric Changes(Text, "property_console_transactions_total", kCounter,
                   "Transactions that were asked for, those that take back others included.");
  Changes.Add(Counters.Changes, "{result=\"made\"}");
  Changes.Add(Counters.Conflicts, "{result=\"conflict\"}");
  Changes.Add(Counters.Refusals, "{result=\"refused\"}");
  TCMetric(Text, "property_console_sessions", kGauge, "Open sessions.").Add(Gauges.Sessions);
  TCMetric(Text, "property_console_streams", kGauge, "Open streams of events.").Add(Gauges.Streams);
  TCMetric(Text, "property_console_connected", kGauge, "Whether the property server is reached.")
      .Add(Gauges.IsConnected ? 1U : 0U);
  return Text;
}

std::string ServerMetrics(TCServerFigures const& Figures) {
  std::string Text;
  for (auto const& [Name, Value] : Figures) {
    auto const Known = std::find_if(
        std::begin(kServerMetrics), std::end(kServerMetrics),
        [&Name = Name](TSServerMetric const& Metric) { return Name == Metric.Figure; });
    auto const Count = CountIn(Value);
    if (Known != std::end(kServerMetrics) && Count) {
      TCMetric(Text, Known->Name, Known->Kind, Known->Help).Add(*Count);
    } else if (Name == "last commit" && Count) {
      TCMetric(Text, "property_server_last_commit_timestamp_seconds", kGauge,
               "When changes were last stored, in seconds since 1970; 0 for not yet.")
          .Add(AsSeconds(*Count));
    } else if (Name == "trouble") {
      TCMetric(Text, "property_server_trouble", kGauge, "Whether changes cannot be stored.")
          .Add(Value == "none" ? 0U : 1U);
    }
  }
  return Text;
}

}  // namespace Property
