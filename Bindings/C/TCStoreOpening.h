// SPDX-License-Identifier: MIT
// How the process gets its schema and its store, once.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCMutex.h"
#include "SchemaLibrary/TCPropertyNames.h"
#include "SchemaLibrary/TCValueRules.h"

namespace Property {
class TCSchemaLibraries;
}

namespace Property::C {

/// The schema libraries, the names and rules that they give, and the connecting to the server, on a
/// thread of its own because that may take longer than the program wants to wait. One a process,
/// never destroyed. Safe on every thread.
class TCStoreOpening {
 public:
  static TCStoreOpening& Get();

  /// What property_open does. `Paths` is null where no schema was named.
  void Open(std::vector<std::string> const* Paths, bool AllDevices, int Timeout);

  /// Once it is open.
  TCPropertyNames const& get_Names() const { return *m_Names; }
  /// A line for each library that is not loaded.
  std::string DescribeProblems();

  /// Empty when the field may have the text; else what is wrong with it.
  std::string ReasonAgainst(TCPropertyID const& Field, std::string const& Data);
  TCValueRules::TSTyped Read(TCPropertyID const& Field, std::string const& Written);

  /// Throws TCBorderFailure in a forked child of the process that has opened the store.
  void RequireOwnProcess() const;
  bool IsInChild() const;

 private:
  enum class TEPhase { eNone, eConnecting, eOpen };

  TCStoreOpening() = default;

  void LoadSchema(std::vector<std::string> const* Paths, bool AllDevices) PROPERTY_REQUIRES(m_Lock);
  void RequireSame(std::vector<std::string> const* Paths, bool AllDevices) const
      PROPERTY_REQUIRES(m_Lock);
  void StartConnecting() PROPERTY_REQUIRES(m_Lock);
  void Connect(bool AllDevices);
  void Wait(TCMutexLock& Lock, int Timeout) PROPERTY_REQUIRES(m_Lock);

  std::atomic<pid_t> m_Process{0};  // of the first attempt
  TCMutex m_Lock;
  std::condition_variable m_Changed;
  TEPhase m_Phase PROPERTY_GUARDED_BY(m_Lock) = TEPhase::eNone;
  bool m_AllDevices PROPERTY_GUARDED_BY(m_Lock) = false;
  std::vector<std::string> m_Paths PROPERTY_GUARDED_BY(m_Lock);
  // Null where the program has its own schema.
  std::unique_ptr<TCSchemaLibraries> m_Libraries PROPERTY_GUARDED_BY(m_Lock);
  std::string m_Failure PROPERTY_GUARDED_BY(m_Lock);  // of the last attempt
  // Written with m_Lock held, before the store is open, and read without it from then on.
  std::unique_ptr<TCPropertyNames> m_Names;
  TCMutex m_RulesLock;
  TCValueRules m_Rules PROPERTY_GUARDED_BY(m_RulesLock);
};

}  // namespace Property::C
