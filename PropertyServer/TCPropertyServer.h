// SPDX-License-Identifier: MIT
// The owner of all property values of the device.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCChangeRules.h"
#include "PropertyServer/TCCommitQueue.h"
#include "PropertyServer/TCControlMails.h"
#include "PropertyServer/TCControlRequests.h"
#include "PropertyServer/TCHistoryEntries.h"
#include "PropertyServer/TCMailEffects.h"
#include "PropertyServer/TCMailTrace.h"
#include "PropertyServer/TCPendingChanges.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyRequests.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCRefusalLog.h"
#include "PropertyServer/TCRefusalMails.h"
#include "PropertyServer/TCSecretTexts.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCServerRequests.h"
#include "PropertyServer/TCStoringTrouble.h"
#include "PropertyServer/TCTakenMails.h"
#include "PropertyServer/TCValueRecords.h"

namespace Property {

/// Owns the mailbox of the property protocol: answers requests from memory, takes changes, stores,
/// publishes and acknowledges them. A mail is one change: it takes effect as a whole or not at all,
/// once, and is acknowledged when it is on the disk. With full durability it is published then,
/// with relaxed durability at once, unless it sets a value that there was none of.
///
/// A mail that was taken before is acknowledged again and nothing else. A malformed mail is refused
/// and logged. So is one that the configuration forbids; its sender is then given the values that
/// stand, so that its store comes back to them, and told of those that it does not hold. Why a mail
/// was refused is told to its sender before the acknowledgement.
///
/// Lives on the router's thread. Refers to router, database and schema, which must outlive it.
class TCPropertyServer : public TCNorvService {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;
  using TCStatus = TCServerRequests::TCStatus;

  /// Loads all values and begins to serve. Throws TCException when the values can not be read, the
  /// texts of secret properties can not go from the history, or the mailbox has an owner.
  TCPropertyServer(TCNorvMailRouter& Router, TCPropertyDatabase& Database, TEDurability Durability,
                   bool Trace, TCConfiguration Configuration, TCServerSchema* Schema = nullptr);
  ~TCPropertyServer() override;

  /// Holds for mails and connections from now on. Processes whose rights may differ are brought up
  /// to date. Throws TCException, with the former one still in force, when the texts of properties
  /// that become secret can not go from the history.
  void SetConfiguration(TCConfiguration Configuration);

  /// The schema was loaded again: values that it has a field for now are no longer kept aside, and
  /// the other way round.
  void OnSchemaLoaded();

  /// Hears of what the administrator should know: a line of text.
  void SetStatusSink(TCStoringTrouble::TCSink Sink) { m_Trouble.SetSink(std::move(Sink)); }

  /// Stores what waits; false when that fails.
  bool Commit() { return m_Queue.Commit(); }

  std::int64_t get_ValueCount() const { return m_Values.get_Count().Values; }
  TCStatus get_Status() const;
  std::uint64_t get_LastTaken(TSNorvSenderKey const& Sender) const override;

 protected:
  /// Changes values by itself: what `As` says is kept of who did it. Stored and published like any
  /// other change; no rule, limit or schema is asked.
  void Change(std::vector<TSPropertyRecord> Changes, TSNorvMailSender const& As);
  TCPropertyValues const& get_Values() const { return m_Values; }

  /// Why changes that the rules allow are refused all the same; empty, as here, when they are not.
  /// `Places` gets the value that the reason is about, if it is about one.
  virtual std::string OnDecide(TSNorvMailSender const& Sender,
                               std::vector<TSPropertyRecord> const& Changes,
                               std::vector<TCPropertyPlace>& Places);
  /// The mail, and all before it of its sender, are stored or refused: acknowledges it.
  virtual void OnSettled(TSNorvReceivedMail const& Mail);

  void OnMail(TSNorvReceivedMail const& Mail) override;
  void OnRefused(TSNorvReceivedMail const& Mail) override;
  bool IsBusy() const override;
  bool OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                 TSNorvMailContent& Answer) override;
  bool OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                 TSNorvMailContent& Content) override;
  std::shared_ptr<TCNorvMailBody const> OnForward(TSNorvMailSender const& Subscriber,
                                                  TSNorvMailContent const& Content) override;

 private:
  using TCTexts = std::vector<std::string const*>;

  void Configure();
  void RequireRoom() const;
  bool IsRepeated(TSNorvReceivedMail const& Mail);
  void DecideChange(TSTakenMail& Taken);
  bool TakeBack(TSPendingChange const& Change);
  static void Refuse(TSTakenMail& Taken, std::string Reason);
  static void MarkRefused(TSTakenMail& Mail, std::string Reason);
  void Take(TSTakenMail&& Taken);
  std::string ReasonAgainstGrowth(TSTakenMail const& Taken) const;
  void Queue(TSTakenMail&& Taken);
  TSTakenMail& AddToQueue(TSTakenMail&& Taken);
  TCTexts const& FindFormer(std::vector<TSPropertyRecord> const& Changes);
  std::string const* FindNewest(TCPropertyPlace const& Place) const;
  void TakeEffectAtOnce(TSTakenMail& Taken);
  void OnStored(std::list<TSTakenMail>& Stored);
  std::string Copy();

  TCNorvMailRouter& m_Router;
  TCPropertyDatabase& m_Database;
  TEDurability const m_Durability;
  TCServerSchema* const m_Schema;
  TCConfiguration m_Configuration;
  TCMailTrace const m_Trace;
  TCValueRecords m_Records;
  TCPropertyValues m_Values;
  TCPropertyRequests m_Requests;
  TCServerRequests const m_ServerRequests;
  TCValueQuota m_Quota;
  TCTakenMails m_Taken;
  TCSecretTexts m_SecretTexts;
  TCHistoryEntries const m_HistoryEntries;
  std::uint64_t m_LastTransaction;  // of the history
  bool m_EffectsWait = false;       // for the commit, although it is relaxed
  TCTexts m_Former;                 // of the mail in hand; its memory serves the next one
  TCRefusalLog m_RefusalLog;
  TCStoringTrouble m_Trouble;
  TCCommitQueue m_Queue;
  TCChangeRules const m_Rules;
  TCPendingChanges m_Pending;
  TCControlMails const m_ControlMails;
  TCControlRequests const m_ControlRequests;
  TCRefusalMails const m_RefusalMails;
  TCMailEffects m_Effects;
};

}  // namespace Property
