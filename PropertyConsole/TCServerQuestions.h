// SPDX-License-Identifier: MIT
// What only the property server knows.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "Platform/Utility/TCMutex.h"
#include "SchemaLibrary/TCPropertyNames.h"
#include "ServerClient/History.h"
#include "ServerClient/ServerFigures.h"
#include "ServerClient/TCServerConnection.h"

namespace Property {

/// A connection for questions, which are asked one after the other. Every operation throws
/// TCServerFailure when there is no answer. Synchronised.
class TCServerQuestions {
 public:
  /// Connects before other threads serve: the address goes into the environment.
  explicit TCServerQuestions(std::string const& Address);

  TCServerFigures AskFigures();
  std::vector<TSHistoryEntry> AskHistory(std::size_t Most,
                                         std::function<void(TCControlRecord&)> const& Narrow);
  /// The numbers of the fields whose texts are secret; while the server is away, as it was last
  /// told.
  std::set<int> AskSecrets(TCPropertyNames const& Names);
  /// The changes that wait for their confirmation and that this process may confirm.
  std::set<std::string> AskPending();
  /// The devices that have values.
  std::set<std::string> AskDevices();

 private:
  TCMutex m_Lock;

  template <class TQuestion>
  std::invoke_result_t<TQuestion const&> Ask(TQuestion const& Question) PROPERTY_REQUIRES(m_Lock);

  TCServerConnection m_Server PROPERTY_GUARDED_BY(m_Lock);
  std::optional<std::set<int>> m_Secrets PROPERTY_GUARDED_BY(m_Lock);  // as last told
};

}  // namespace Property
