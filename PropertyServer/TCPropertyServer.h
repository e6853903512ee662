// SPDX-License-Identifier: MIT
// The owner of all property values of the device.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/TCRouterUser.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyServer/TCCommitQueue.h"
#include "PropertyServer/TCKeptAnswer.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCSecretTexts.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCTakenMails.h"

namespace Property {

/// Owns the mailbox of the property protocol: answers requests from memory, takes changes, stores,
/// publishes and acknowledges them. A mail is one change: it takes effect as a whole or not at all,
/// once, and is acknowledged when it is on the disk. With full durability it is published then,
/// with relaxed durability at once, unless it sets a value that there was none of.
///
/// A mail that was taken before is acknowledged again and nothing else. A malformed mail is refused
/// and logged. So is one that the configuration forbids; its sender is then given the values that
/// stand, so that its store comes back to them, and told of those that it does not hold.
///
/// Lives on the router's thread. Refers to router and database, which must outlive it.
class TCPropertyServer : public TCNorvService {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;
  using TCStatus = std::vector<std::pair<std::string, std::string>>;  // name and value

  /// Loads all values and begins to serve. Throws TCException when the values can not be read, the
  /// texts of secret properties can not go from the history, or the mailbox has an owner.
  TCPropertyServer(TCNorvMailRouter& Router, TCPropertyDatabase& Database, TEDurability Durability,
                   bool Trace, TCConfiguration Configuration);
  ~TCPropertyServer() override;

  /// Holds for mails and connections from now on. Processes whose rights may differ are brought up
  /// to date. Throws TCException, with the former one still in force, when the texts of properties
  /// that become secret can not go from the history.
  void SetConfiguration(TCConfiguration Configuration);

  /// Hears of what the administrator should know: a line of text.
  void SetStatusSink(std::function<void(std::string const&)> Sink);

  /// Stores what waits; false when that fails.
  bool Commit() { return m_Queue.Commit(); }

  std::size_t get_ValueCount() const { return m_Values.size(); }
  TCStatus get_Status() const;
  std::uint64_t get_LastTaken(TSNorvSenderKey const& Sender) const override;

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override;
  void OnRefused(TSNorvReceivedMail const& Mail) override;
  bool OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                 TSNorvMailContent& Answer) override;
  bool OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                 TSNorvMailContent& Content) override;
  std::shared_ptr<TCNorvMailBody const> OnForward(TSNorvMailSender const& Subscriber,
                                                  TSNorvMailContent const& Content) override;

 private:
  using TCBody = std::shared_ptr<TCNorvMailBody const>;

  TSNorvMailContent AnswerAboutServer(TSNorvMailSender const& Sender, int Signal);

  void Configure();
  std::vector<TSPropertyRecord> ReadChanges(TSNorvMailContent const& Content);
  TSPropertyRecord ReadRecord(std::string_view Record);
  void RequireLayout(TSNorvMailContent const& Content, TCNorvRecordObject const& Part) const;

  bool IsRepeated(TSNorvReceivedMail const& Mail);
  std::string ReasonToRefuse(TSNorvMailSender const& Sender,
                             std::vector<TSPropertyRecord> const& Changes) const;
  void LogRefusal(TSNorvMailSender const& Sender, std::string const& Reason);
  void Take(TSTakenMail Taken);
  std::vector<TSHistoryEntry> HistoryOf(TSTakenMail const& Taken);
  std::string const* FindNewest(TCPropertyPlace const& Place) const;
  void TakeEffectAtOnce(TSTakenMail& Taken);
  void TakeEffect(TSTakenMail& Taken);
  void OnStored(std::list<TSTakenMail>& Stored);
  void OnTrouble(bool Failing, char const* Reason);

  TSNorvMailContent AnswerAll(TSNorvMailSender const& Sender, TSNorvMailContent const& Request);
  TSNorvMailContent AnswerOne(TSNorvMailSender const& Sender, TSNorvMailContent const& Request);
  void AppendValues(TCNorvMailBody::TCWriter& Writer, TSNorvMailSender const& Reader,
                    std::function<bool(TCMACAddress const&)> const& IsWanted);
  TCBody EncodeEverything(TSNorvMailSender const& Reader);
  TCBody EncodeWhole(TSNorvMailSender const& Reader);
  TCBody EncodeChanges(std::vector<TSPropertyRecord> const& Changes);
  TCBody EncodeStanding(TSTakenMail const& Refused);
  TCNorvMailBody::TCWriter NewWriter();
  void AppendValue(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
                   std::string const& Data, bool Loaded);
  void AppendNoValue(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place);
  TCNorvPropertyObject::TCRecord& FillRecord(TCPropertyPlace const& Place, std::string const& Data,
                                             bool Loaded);
  void TraceMail(char const* Direction, TSNorvMailSender const& Sender,
                 TSNorvMailContent const& Content);

  TCNorvMailRouter& m_Router;
  TCPropertyDatabase& m_Database;
  TEDurability const m_Durability;
  bool const m_Trace;
  TCConfiguration m_Configuration;
  std::function<void(std::string const&)> m_StatusSink;
  std::map<TCPropertyPlace, std::string> m_Values;
  TCTakenMails m_Taken;
  TCSecretTexts m_SecretTexts;
  std::uint64_t m_LastTransaction;  // of the history
  bool m_EffectsWait = false;       // for the commit, although it is relaxed
  TCRouterUsers m_Users;            // what each may have logged of refused changes
  std::string m_Trouble;            // why nothing can be stored; empty for none
  std::uint64_t m_RefusedMails = 0;
  std::uint64_t m_TakenMails = 0;
  TCNorvPropertyObject m_Scratch;  // takes records to and from the wire, one at a time
  TCKeptAnswer m_Everything;       // m_Values, for who may read all of them
  TCKeptAnswer m_Whole;            // the same, for who has missed changes
  TCCommitQueue m_Queue;
};

}  // namespace Property
