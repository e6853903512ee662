// SPDX-License-Identifier: MIT
// One run of the program that tries libraries.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "Platform/Utility/TCFileDescriptor.h"
#include "SchemaLibrary/TCSchemaTrial.h"

namespace Property {

/// What a run found out.
struct TSTrialResult {
  std::vector<TSSchemaVerdict> Verdicts;  ///< of the first libraries: as far as it came
  bool Fatal = false;                     ///< the last of them was refused and has ended the run
  bool Tried = true;                      ///< whether there was a run at all
  bool Complete = false;                  ///< all were loaded or refused, and the schema completed
  std::string Reason;                     ///< why it is not complete; fit for a terminal
};

/// A child process that loads libraries and reports. It, and what it has started in its session, is
/// killed when it is silent for too long, and at the latest with this object.
/// Not synchronised.
class TCTrialProcess {
 public:
  /// Loads `Libraries` in their order. The run ends at `End` at the latest. Throws TCException when
  /// the program cannot be started.
  TCTrialProcess(TSSchemaTrialSettings const& Settings, std::vector<std::string> const& Libraries,
                 std::chrono::steady_clock::time_point End);
  TCTrialProcess(TCTrialProcess const&) = delete;
  TCTrialProcess& operator=(TCTrialProcess const&) = delete;
  ~TCTrialProcess();

  /// Throws TCException when the program is of another version.
  TSTrialResult Run();

 private:
  enum class TEEvent { eReport, eEnd, eTimeout };

  void Start(std::vector<std::string> const& Libraries, int Reports);
  TEEvent WaitForEvent(std::chrono::steady_clock::time_point Until) const;
  bool ReadReports(TSTrialResult& Result);
  void TakeLine(std::string const& Line, TSTrialResult& Result);
  void TakeEnd(int Status, TSTrialResult& Result);
  int End();

  TSSchemaTrialSettings const m_Settings;
  std::size_t const m_Count;
  std::chrono::steady_clock::time_point const m_End;
  pid_t m_Process = -1;
  TCFileDescriptor m_Handle;  // of the process
  TCFileDescriptor m_Reports;
  std::string m_Text;        // of a line that is not complete
  bool m_Completed = false;  // as it says
  bool m_Forged = false;     // there is what the program itself does not say
};

}  // namespace Property
