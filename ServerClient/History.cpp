// SPDX-License-Identifier: MIT
// Asks for the history page by page.
#include "ServerClient/History.h"

#include <algorithm>

namespace Property {
namespace {

std::optional<std::string> TextIn(TCNorvField const& Field) {
  return Field.IsAssigned() ? std::optional(Field.get_AsString()) : std::nullopt;
}

}  // namespace

TSHistoryEntry::TSHistoryEntry(TCControlRecord const& Record)
    : Place(PlaceOf(Record)),
      Writer(Record),
      Former(TextIn(Record.m_Former)),
      Data(TextIn(Record.m_Data)),
      IsSecret(Record.m_Secret.get_AsBool()),
      IsRemoval(Record.m_Removed.get_AsBool()),
      Undoes(Record.m_Undoes.get_AsString()) {}

// A last record with a place only says that there may be more.
std::vector<TSHistoryEntry> AskForHistory(TCServerConnection& Server, std::size_t Most,
                                          std::function<void(TCControlRecord&)> const& Narrow) {
  std::vector<TSHistoryEntry> Entries;
  std::string Place;
  do {
    TCControlMail Mail(Norv_ControlMail, PropertyControl::kHistory.Type,
                       PropertyControl::kHistory.Name);
    TCControlRecord& Filter = Mail.CreateRecord()->get_Record();
    Narrow(Filter);
    Filter.m_Limit = static_cast<int>(
        std::min<std::size_t>(Most - Entries.size(), PropertyControl::kMostPageEntries));
    if (!Place.empty()) {
      Filter.m_Place.set_AsString(Place);
    }
    Server.Ask(Mail);
    Place.clear();
    for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
      TCControlRecord const& Record = Mail.GetMailRecord(Index)->get_Record();
      if (Record.m_ID.IsAssigned()) {
        Entries.emplace_back(Record);
      } else {
        Place = Record.m_Place.get_AsString();
      }
    }
  } while (!Place.empty() && Entries.size() < Most);
  return Entries;
}

}  // namespace Property
