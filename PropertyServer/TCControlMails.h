// SPDX-License-Identifier: MIT
// Decides what the mails do that look after changes.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCChangeRules.h"
#include "PropertyServer/TCControlRecords.h"
#include "PropertyServer/TCPendingChanges.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TSTakenMail.h"

namespace Property {

/// Makes changes of mails of the class "propertycontrol": resets, changes on conditions, changes to
/// be confirmed, their confirmation, what takes a transaction back, and what removes values that
/// are kept aside. A mail that is refused changes nothing.
///
/// A user is told nothing of a transaction of which it may not read and write every value.
///
/// Lives on the router's thread. Refers to all that it is made of.
class TCControlMails {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;
  /// What a value is once everything that waits is stored; null for none.
  using TCFindNewest = std::function<std::string const*(TCPropertyPlace const& Place)>;
  /// Sees to it that the database has everything; false when that fails for now.
  using TCStoreAll = std::function<bool()>;

  TCControlMails(TCConfiguration const& Configuration, TCChangeRules const& Rules,
                 TCPropertyDatabase const& Database, TCPropertyValues const& Values,
                 TCPendingChanges const& Pending, TCFindNewest FindNewest, TCStoreAll StoreAll);

  static bool IsKnown(TSNorvMailContent const& Content);
  /// Fills what the mail changes, or why it is refused. Throws another exception than TCException
  /// when that can not be told now.
  void Decide(TSTakenMail& Taken) const;
  /// Fills a mail without sender with what stands again because the change was not confirmed in
  /// time. False when that can not be told now.
  [[nodiscard]] bool TakeBack(TSPendingChange const& Change, TSTakenMail& Taken) const;

 private:
  using TCExpectations = std::map<TCPropertyPlace, std::optional<std::string>>;

  void DecideSignal(TSTakenMail& Taken) const;
  void DecideChange(TSTakenMail& Taken) const;
  void DecideReset(TSTakenMail& Taken) const;
  void DecideChangeIf(TSTakenMail& Taken) const;
  TCExpectations ReadConditional(TCControlReader& Reader, int First, TSTakenMail& Taken) const;
  void RequireExpected(TSTakenMail& Taken, TCExpectations const& Expected) const;
  void DecideUndo(TSTakenMail& Taken) const;
  void DecideConfirm(TSTakenMail& Taken) const;
  void DecideForget(TSTakenMail& Taken) const;
  void Check(TSTakenMail& Taken) const;
  std::vector<TSPropertyRecord> Former(std::vector<TSPropertyRecord> const& Changes) const;
  void DropEmpty(std::vector<TSPropertyRecord>& Changes) const;

  std::vector<TSHistoryEntry> ReadUndoable(TSNorvMailSender const& Sender,
                                           std::uint64_t Transaction) const;
  void RequireUnchanged(std::vector<TSHistoryEntry> const& Entries) const;

  TCConfiguration const& m_Configuration;
  TCChangeRules const& m_Rules;
  TCPropertyDatabase const& m_Database;
  TCPropertyValues const& m_Values;
  TCPendingChanges const& m_Pending;
  TCFindNewest const m_FindNewest;
  TCStoreAll const m_StoreAll;
};

}  // namespace Property
