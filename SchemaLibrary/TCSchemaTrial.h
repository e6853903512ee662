// SPDX-License-Identifier: MIT
// Tries libraries in a child process, which may fall over them.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace Property {

/// How libraries are tried.
struct TSSchemaTrialSettings {
  std::string Program;  ///< the program that loads them; empty for the installed one
  std::chrono::milliseconds Patience{5000};      ///< with one library
  std::chrono::milliseconds AllPatience{20000};  ///< with all of them
  std::size_t Memory = std::size_t{256}
                       << 20U;  ///< bytes that the child may have; 0 for any number
};

/// What became of one library.
struct TSSchemaVerdict {
  bool Good = false;
  std::string Reason;  ///< fit for a terminal; empty when it is good
  bool Tried = true;   ///< whether there was a trial, which may have been prevented
};

struct TSTrialResult;

/// Finds out which libraries can be loaded one after the other and give a schema that completes.
/// Of libraries that do not go together the later ones are refused. Starts programs; loads nothing
/// itself. Not synchronised.
class TCSchemaTrial {
 public:
  explicit TCSchemaTrial(TSSchemaTrialSettings Settings);

  /// A verdict for each of `Files`, tried in their order behind `Loaded`, which are good.
  std::vector<TSSchemaVerdict> Try(std::vector<std::string> const& Loaded,
                                   std::vector<std::string> const& Files);

 private:
  using TPlaces = std::vector<std::size_t>;  // in m_Files

  void TryTogether(TPlaces Places);
  void TryHalves(TPlaces const& Places, std::string const& Reason);
  TSTrialResult Run(TPlaces const& Places);
  TPlaces TakeVerdicts(TPlaces const& Places, TSTrialResult const& Result);
  void Accept(TPlaces const& Places);
  void Refuse(std::size_t Place, std::string const& Reason, bool Tried);

  TSSchemaTrialSettings const m_Settings;
  std::chrono::steady_clock::time_point m_End;
  std::vector<std::string> m_Good;
  std::vector<std::string> m_Files;
  std::vector<TSSchemaVerdict> m_Verdicts;
};

}  // namespace Property
