// SPDX-License-Identifier: MIT
// The values that the server holds, and what each process is told of them.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCKeptAnswer.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCServerSchema.h"
#include "PropertyServer/TCValueQuota.h"
#include "PropertyServer/TCValueRecords.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// All values, in memory, and the bodies of mails that tell of them. A reader is told nothing of a
/// value that it may not read, not even that there is one.
///
/// Lives on the router's thread. Refers to the configuration in force, which must outlive it.
class TCPropertyValues {
 public:
  using TCBody = std::shared_ptr<TCNorvMailBody const>;
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  TCPropertyValues(TCNorvEventLoop& Loop, TCConfiguration const& Configuration);
  TCPropertyValues(TCPropertyValues const&) = delete;
  TCPropertyValues& operator=(TCPropertyValues const&) = delete;

  /// Takes over a value as it was stored, in their order.
  void Load(TSPropertyRecord Record);
  /// The values change. May be repeated after it has thrown.
  void Set(std::vector<TSPropertyRecord> const& Changes);

  /// Keeps those values aside from now on that the schema has no field for: they are stored, and no
  /// process is told of them. Returns whether that concerns others than before.
  bool SortOut(TCServerSchema const& Schema);
  bool IsOrphan(int Number) const { return m_Orphans.count(Number) > 0; }
  /// Hands over the values kept aside, from the one behind `Last` on, until `Take` returns false.
  void VisitOrphans(
      TCPropertyPlace const& Last,
      std::function<bool(TCPropertyPlace const& Place, std::string const& Data)> const& Take) const;

  /// The value at `Place`, also one that is kept aside; null when there is none.
  std::string const* Find(TCPropertyPlace const& Place) const;
  TSValueCount get_Count() const { return {static_cast<std::int64_t>(m_Values.size()), m_Bytes}; }

  /// All that `Reader` may read.
  TCBody EncodeAll(TSNorvMailSender const& Reader);
  /// Those of the reader's device and of none.
  TCBody EncodeOwn(TSNorvMailSender const& Reader);
  /// All, for who has missed changes: what is not among them is to be removed.
  TCBody EncodeWhole(TSNorvMailSender const& Reader);
  TCBody EncodeOne(TSNorvMailSender const& Reader, TCPropertyPlace const& Place);
  /// What stands where `Changes`, which were refused, would have changed something.
  TCBody EncodeStanding(TSNorvMailSender const& Reader,
                        std::vector<TSPropertyRecord> const& Changes);
  /// `Changes` for those who may read them, in the one form that every process writes a link and a
  /// device in, whatever the sender wrote. `Sent`, if it is not null, has them in this form
  /// already.
  TCBody EncodeChanges(std::vector<TSPropertyRecord> const& Changes, TCBody const& Sent);
  /// What `Reader` may read of records that were encoded here; null for nothing.
  TCBody SelectReadable(TSNorvMailSender const& Reader, TCBody const& Body);

 private:
  void Remove(TCPropertyPlace const& Place);
  std::string const* FindFor(TSNorvMailSender const& Reader, TCPropertyPlace const& Place) const;
  void AppendReadable(TCNorvMailBody::TCWriter& Writer, TSNorvMailSender const& Reader,
                      std::function<bool(TCMACAddress const&)> const& IsWanted);

  TCConfiguration const& m_Configuration;
  std::map<TCPropertyPlace, std::string> m_Values;
  std::int64_t m_Bytes = 0;  // of their texts
  TCServerSchema const* m_Schema = nullptr;
  std::set<int> m_Orphans;  // numbers in m_Values
  TCValueRecords m_Records;
  TCKeptAnswer m_All;    // for who may read all of them
  TCKeptAnswer m_Whole;  // the same, for who has missed changes
};

}  // namespace Property
