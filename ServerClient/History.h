// SPDX-License-Identifier: MIT
// What the server remembers of changes.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ServerClient/ControlRecords.h"
#include "ServerClient/TCServerConnection.h"

namespace Property {

/// One changed value. Null texts: there was or is no value, or the text is not kept.
struct TSHistoryEntry {
  explicit TSHistoryEntry(TCControlRecord const& Record);

  TSPropertyPlace Place;
  TSWriter Writer;
  std::optional<std::string> Former;
  std::optional<std::string> Data;
  bool IsSecret;
  bool IsRemoval;
  std::string Undoes;  ///< number of a transaction; empty for none
};

/// The newest `Most` entries that `Narrow` leaves, the newest first; asked for page by page.
std::vector<TSHistoryEntry> AskForHistory(TCServerConnection& Server, std::size_t Most,
                                          std::function<void(TCControlRecord&)> const& Narrow);

}  // namespace Property
