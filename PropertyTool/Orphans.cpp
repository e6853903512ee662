// SPDX-License-Identifier: MIT
// Asks for the values that are kept aside, page by page.
#include "PropertyTool/Orphans.h"

#include <limits>

#include "PropertyTool/ControlMails.h"

namespace Property {
namespace {

TSOrphan OrphanIn(TCControlRecord const& Record) {
  TSOrphan Orphan{PlaceOf(Record), Record.m_Secret.get_AsBool(), std::nullopt,
                  Record.m_Text.get_AsString()};
  if (Record.m_Data.IsAssigned()) {
    Orphan.Data = Record.m_Data.get_AsString();
  }
  return Orphan;
}

}  // namespace

// A page goes on behind a place, so what is asked for are those behind the number before `First`.
void AskForOrphans(TCServerConnection& Server, int First,
                   std::function<bool(TSOrphan const&)> const& Take) {
  std::optional<TSPropertyPlace> Behind;
  if (First > std::numeric_limits<int>::min()) {
    Behind = TSPropertyPlace{First - 1, "", ""};
  }
  for (bool IsMore = true; IsMore;) {
    TCControlMail Mail(Norv_ControlMail, PropertyControl::kOrphans.Type,
                       PropertyControl::kOrphans.Name);
    TCControlRecord& Question = Mail.CreateRecord()->get_Record();
    if (Behind) {
      SetPlace(Question, *Behind);
    }
    Server.Ask(Mail);
    IsMore = false;
    for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
      TCControlRecord const& Record = Mail.GetMailRecord(Index)->get_Record();
      IsMore = !Record.m_ID.IsAssigned() && Index > 0;
      if (Record.m_ID.IsAssigned()) {
        Behind = PlaceOf(Record);
        if (Behind->Number >= First && !Take(OrphanIn(Record))) {
          return;
        }
      }
    }
  }
}

}  // namespace Property
