// SPDX-License-Identifier: MIT
// Fills the entries of the history.
#include "PropertyServer/TCHistoryEntries.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Property {

std::vector<TSHistoryEntry> TCHistoryEntries::Of(
    TSTakenMail const& Taken, std::vector<std::string const*> const& Former) const {
  std::vector<TSHistoryEntry> History;
  std::uint64_t const Kept =
      std::min<std::uint64_t>(m_Configuration->get_History().Entries, Taken.Changes.size());
  History.reserve(Kept);  // the rest would be forgotten at once
  for (std::size_t Index = Taken.Changes.size() - Kept; Index < Taken.Changes.size(); ++Index) {
    TSPropertyRecord const& Change = Taken.Changes[Index];
    TSHistoryEntry& Entry = History.emplace_back();
    Entry.Transaction = Taken.Outcome.Transaction;
    Entry.Parts = Taken.Changes.size();
    Entry.Undoes = Taken.Effects ? Taken.Effects->Undoes : 0;
    Entry.Removed = Change.Removed;
    Entry.Origin = Taken.Origin;
    Entry.Number = Change.Number;
    Entry.Link = Change.Link;
    Entry.MAC = Change.MAC;
    PutTexts(Entry, Change, Former[Index]);
  }
  return History;
}

void TCHistoryEntries::PutTexts(TSHistoryEntry& Entry, TSPropertyRecord const& Change,
                                std::string const* Former) const {
  Entry.Secret = m_Configuration->IsSecret(Change.Number);
  if (Entry.Secret) {
    return;
  }
  if (Former != nullptr && m_SecretTexts.MayShow(Change)) {
    Entry.From = *Former;
  }
  Entry.To = Change.Data;
}

}  // namespace Property
