// SPDX-License-Identifier: MIT
// The owner of all property values of the device.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TSPropertyRecord.h"

struct sd_event_source;

namespace Property {

/// Owns the mailbox of the property protocol: answers requests from memory, takes changes, stores
/// each mail as one database transaction, then publishes and acknowledges it. A mail that was
/// stored before is acknowledged again and nothing else. A malformed mail is refused as a whole and
/// logged.
///
/// While the database can not be written, mails wait in their order, nothing is acknowledged, and
/// writing is tried again twice a second.
///
/// Lives on the router's thread. Refers to router and database, which must outlive it.
class TCPropertyServer : public TCNorvService {
 public:
  /// Loads all values and begins to serve. Throws TCException when the values can not be read or
  /// the mailbox has an owner.
  TCPropertyServer(TCNorvMailRouter& Router, TCPropertyDatabase& Database, bool Trace);
  ~TCPropertyServer() override;

  std::size_t get_ValueCount() const { return m_Values.size(); }

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override;
  void OnRefused(TSNorvReceivedMail const& Mail) override;
  bool OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                 TSNorvMailContent& Answer) override;
  bool OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                 TSNorvMailContent& Content) override;

 private:
  using TCKey = std::tuple<int, Accessories::TCRecordID, TCMACAddress>;

  // A mail that waits for the database; without changes when it was refused.
  struct TSPending {
    TSNorvReceivedMail Mail;
    std::vector<TSPropertyRecord> Changes;
  };

  std::vector<TSPropertyRecord> ReadChanges(TSNorvMailContent const& Content);
  TSPropertyRecord ReadRecord(std::string_view Record);
  void RequireLayout(TSNorvMailContent const& Content, TCNorvRecordObject const& Part) const;
  void Enqueue(TSPending Pending);
  void ProcessPending();
  void Process(TSPending const& Pending);
  void Store(TSPending const& Pending);
  void RetryLater();
  static int OnRetry(sd_event_source* Source, std::uint64_t Time, void* Server);

  TSNorvMailContent AnswerAll(TSNorvMailSender const& Sender, TSNorvMailContent const& Request);
  std::shared_ptr<TCNorvMailBody const> EncodeValues(
      std::function<bool(TCMACAddress const&)> const& IsWanted);
  TSNorvMailContent AnswerOne(TSNorvMailContent const& Request);
  void AppendValue(TCNorvMailBody::TCWriter& Writer, TCKey const& Key, std::string const& Data,
                   bool Loaded);
  void TraceMail(char const* Direction, TSNorvMailSender const& Sender,
                 TSNorvMailContent const& Content) const;

  TCNorvMailRouter& m_Router;
  TCPropertyDatabase& m_Database;
  bool const m_Trace;
  std::map<TCKey, std::string> m_Values;
  std::deque<TSPending> m_Pending;
  sd_event_source* m_Retry = nullptr;  // while the database can not be written
  TCNorvPropertyObject m_Scratch;      // takes records to and from the wire, one at a time
};

}  // namespace Property
