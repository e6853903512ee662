// SPDX-License-Identifier: MIT
// Answers requests, stores changes and tells every process of them.
#include "PropertyServer/TCPropertyServer.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCLogBudget.h"
#include "PropertyServer/PropertyMails.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyServer";

}  // namespace

TCPropertyServer::TCPropertyServer(TCNorvMailRouter& Router, TCPropertyDatabase& Database,
                                   TEDurability Durability, bool Trace,
                                   TCConfiguration Configuration, TCServerSchema* Schema)
    : TCNorvService(Router, PropertyProtocol::kMailbox),
      m_Router(Router),
      m_Database(Database),
      m_Durability(Durability),
      m_Schema(Schema),
      m_Configuration(std::move(Configuration)),
      m_Trace(Trace),
      m_Values(Router.get_Loop(), m_Configuration),
      m_Requests(m_Values),
      m_ServerRequests(
          m_Configuration, [this] { return get_Status(); }, [this] { return Copy(); }),
      m_Taken(Database, [&Router] { return Router.get_Senders(); }),
      m_SecretTexts(Database),
      m_HistoryEntries(m_Configuration, m_SecretTexts),
      m_LastTransaction(Database.get_LastTransaction()),
      m_Queue(
          Database, m_Taken, Router.get_Loop(), Durability,
          [this](std::list<TSTakenMail>& Stored) { OnStored(Stored); },
          [this](bool Failing, char const* Reason) { m_Trouble.Tell(Failing, Reason); }),
      m_Rules(m_Configuration, Schema),
      m_Pending(Database, Router.get_Loop(),
                [this](TSPendingChange const& Change) { return TakeBack(Change); }),
      m_ControlMails(
          m_Configuration, m_Rules, Database, m_Values, m_Pending,
          [this](TCPropertyPlace const& Place) { return FindNewest(Place); },
          [this] { return m_Queue.get_WaitingCount() == 0 || m_Queue.Commit(); }),
      m_ControlRequests(m_Configuration, m_Values, Database, m_Pending, Schema),
      m_RefusalMails(m_Configuration, m_Values, Database),
      m_Effects(Router, *this, m_Configuration, m_Values, m_Taken, m_Quota, m_Trace,
                m_RefusalMails) {
  m_Database.LoadAll([this](TSPropertyRecord Record) { m_Values.Load(std::move(Record)); });
  if (m_Schema != nullptr) {
    m_Values.SortOut(*m_Schema);
  }
  m_SecretTexts.SetSecrets(m_Configuration->get_Secrets());
  Open();
  m_Router.Execute([this] { Configure(); });
}

TCPropertyServer::~TCPropertyServer() {
  Close();
  m_Router.Execute([this] {
    m_Queue.Commit();
    m_Router.SetAdmission(nullptr);
  });
}

void TCPropertyServer::Configure() {
  TSServerLimits const& Limits = m_Configuration->get_Limits();
  TSNorvRouterLimits RouterLimits;
  RouterLimits.Connections = Limits.Connections;
  RouterLimits.ConnectionsPerUser = Limits.ConnectionsPerUser;
  RouterLimits.MailsPerSecond = Limits.MailsPerSecond;
  RouterLimits.RecordsPerMail = Limits.MailRecords;
  m_Router.SetLimits(RouterLimits);
  m_Router.SetAdmission([this](TSNorvMailSender const& Sender) {
    return m_Configuration->MayConnect(Sender)
               ? std::string()
               : "it is in no group that may, and no rule lets it read or write anything";
  });
  m_Queue.SetHistoryLimits(m_Configuration->get_History());
}

void TCPropertyServer::SetConfiguration(TCConfiguration Configuration) {
  m_Queue.Commit();  // no transaction is under way then
  m_SecretTexts.SetSecrets(Configuration->get_Secrets());
  m_Queue.HideTexts([&Configuration](int Number) { return Configuration->IsSecret(Number); });
  TCConfiguration const Former = std::exchange(m_Configuration, std::move(Configuration));
  Configure();
  m_Router.BringUpToDate([&](TSNorvMailSender const& Sender) {
    return !Former->ReadsEverything(Sender) || !m_Configuration->ReadsEverything(Sender);
  });
}

void TCPropertyServer::OnSchemaLoaded() {
  if (m_Schema != nullptr && m_Values.SortOut(*m_Schema)) {
    m_Router.BringUpToDate([](TSNorvMailSender const&) { return true; });
  }
}

void TCPropertyServer::OnMail(TSNorvReceivedMail const& Mail) {
  if (IsRepeated(Mail)) {
    return;
  }
  RequireRoom();
  TSTakenMail Taken(Mail);
  if (TCControlMails::IsKnown(Mail.Content)) {
    m_Trace.Print("received", Mail.Sender, Mail.Content, *m_Configuration);
    m_ControlMails.Decide(Taken);
  } else {
    DecideChange(Taken);
  }
  if (!Taken.Refused && !Taken.Changes.empty()) {
    Refuse(Taken, OnDecide(Mail.Sender, Taken.Changes, Taken.Outcome.Places));
  }
  if (Taken.Refused) {
    m_RefusalLog.Write(Mail.Sender, Taken.Outcome.Refusal.value_or(std::string()));
  }
  Take(std::move(Taken));
}

void TCPropertyServer::DecideChange(TSTakenMail& Taken) {
  TSNorvReceivedMail const& Mail = Taken.Mail;
  if (!IsPropertyMail(Mail.Content, PropertyProtocol::kChange)) {
    throw TCException(kSource, __LINE__)
        .Format("%s v%d %s %d is no change of properties",
                Mail.Content.MailClass.get_Name().c_str(), Mail.Content.MailClass.get_Version(),
                TCNorvMessage::SignalTypename(Mail.Content.SignalType).c_str(),
                Mail.Content.SignalName);
  }
  Taken.Changes = m_Records.ReadAll(Mail.Content, Taken.IsUsual);
  m_Trace.Print("received", Mail.Sender, Mail.Content, *m_Configuration);
  Refuse(Taken, m_Rules.ReasonAgainst(Mail.Sender, Taken.Changes, Taken.Outcome.Places));
}

// Where there is a reason against it.
void TCPropertyServer::Refuse(TSTakenMail& Taken, std::string Reason) {
  if (!Reason.empty()) {
    MarkRefused(Taken, std::move(Reason));
  }
}

std::string TCPropertyServer::OnDecide(TSNorvMailSender const& /*Sender*/,
                                       std::vector<TSPropertyRecord> const& /*Changes*/,
                                       std::vector<TCPropertyPlace>& /*Places*/) {
  return std::string();
}

void TCPropertyServer::OnSettled(TSNorvReceivedMail const& Mail) {
  Acknowledge(Mail);
}

void TCPropertyServer::Change(std::vector<TSPropertyRecord> Changes, TSNorvMailSender const& As) {
  TSNorvReceivedMail Mail = TCMailEffects::OwnMail();
  Mail.Sender = As;
  Mail.Content.MailClass = Norv_PropertyMail;
  TSTakenMail Taken(std::move(Mail));
  Taken.Changes = std::move(Changes);
  Take(std::move(Taken));
}

// The time of a change is over. False when that has to wait.
bool TCPropertyServer::TakeBack(TSPendingChange const& Change) {
  auto const Transaction = static_cast<unsigned long long>(Change.Transaction);
  try {
    TSTakenMail Taken(TCMailEffects::OwnMail());
    if (!m_ControlMails.TakeBack(Change, Taken)) {
      return false;
    }
    Take(std::move(Taken));
  } catch (std::exception const& Failure) {
    LogIfPossible([&] {
      SyslogError("Transaction %llu was not confirmed and can not be taken back yet: %s",
                  Transaction, Failure.what());
    });
    return false;
  }
  LogIfPossible([&] {
    SyslogWarning(
        "Transaction %llu of %s (process %d, user %u) was not confirmed in time: what "
        "stood before it stands again",
        Transaction, Change.Origin.ProcessName.c_str(), static_cast<int>(Change.Origin.Process),
        Change.Origin.User);
  });
  return true;
}

// It changes nothing, and leaves nothing pending.
void TCPropertyServer::MarkRefused(TSTakenMail& Mail, std::string Reason) {
  Mail.Refused = true;
  Mail.Outcome.Refusal = std::move(Reason);
  Mail.Effects.reset();
  if (TCControlMails::IsKnown(Mail.Mail.Content)) {
    Mail.Changes.clear();  // its sender holds nothing that would have to be restored
  }
}

void TCPropertyServer::OnRefused(TSNorvReceivedMail const& Mail) {
  if (!IsRepeated(Mail)) {
    RequireRoom();
    TSTakenMail Taken(Mail);
    MarkRefused(Taken, "it can not be read");
    Take(std::move(Taken));
  }
}

bool TCPropertyServer::IsBusy() const {
  constexpr std::size_t kPart = 4;
  return m_Queue.get_WaitingMemory() > m_Configuration->get_Limits().WaitingBytes / kPart;
}

// Who sends on all the same, or to a server that can store nothing, keeps its mails itself.
void TCPropertyServer::RequireRoom() const {
  if (m_Queue.get_WaitingMemory() > m_Configuration->get_Limits().WaitingBytes) {
    throw std::runtime_error("too much waits to be stored (waiting_bytes)");
  }
}

// A repeat has done its work; its sender may not have heard of it.
bool TCPropertyServer::IsRepeated(TSNorvReceivedMail const& Mail) {
  std::uint64_t Last = 0;
  try {
    Last = m_Taken.get_Last(Mail.Sender);
  } catch (TCException const& Failure) {
    throw std::runtime_error(Failure.what());  // no reason to refuse: it has to come again
  }
  if (Mail.Number > Last) {
    return false;
  }
  if (!m_Taken.IsWaiting(Mail.Sender)) {
    OnSettled(Mail);
  }
  return true;
}

void TCPropertyServer::Take(TSTakenMail&& Taken) {
  TSNorvMailSender const& Sender = Taken.Mail.Sender;
  Taken.Origin.Time = CurrentTime();
  Taken.Origin.User = Sender.User;
  Taken.Origin.Process = Sender.Process;
  Taken.Origin.ProcessName = Sender.ProcessName;
  if (!Taken.Refused) {
    TCTexts const& Former = FindFormer(Taken.Changes);
    Taken.IsNew = std::find(Former.begin(), Former.end(), nullptr) != Former.end();
    Taken.Growth = GrowthBy(Taken.Changes, Former);
    std::string Reason = ReasonAgainstGrowth(Taken);
    if (!Reason.empty() && Taken.HasSender()) {
      m_RefusalLog.Write(Sender, Reason);
      MarkRefused(Taken, std::move(Reason));
    } else if (!Taken.Changes.empty()) {
      Taken.Outcome.Transaction = ++m_LastTransaction;
      Taken.History = m_HistoryEntries.Of(Taken, Former);
    }
  }
  Queue(std::move(Taken));
}

// What a change to be confirmed would restore is kept, and counts like the values that stand.
std::string TCPropertyServer::ReasonAgainstGrowth(TSTakenMail const& Taken) const {
  TSValueCount Growth = Taken.Growth;
  if (Taken.Effects && Taken.Effects->Pending) {
    Growth += CountOf(Taken.Effects->Former);
  }
  if (Growth.Values <= 0 && Growth.Bytes <= 0) {
    return std::string();
  }
  TSValueCount Present = m_Values.get_Count();
  Present += m_Pending.get_Kept();
  return m_Quota.ReasonAgainst(Growth, Present, m_Configuration->get_LimitsOf(Taken.Mail.Sender));
}

void TCPropertyServer::Queue(TSTakenMail&& Taken) {
  TSTakenMail& Waiting = AddToQueue(std::move(Taken));
  if (!Waiting.Refused) {
    m_Quota.Wait(Waiting.Growth);
    m_SecretTexts.OnSet(Waiting.Changes);
  }
  if (m_Durability == TEDurability::eRelaxed && !m_EffectsWait) {
    TakeEffectAtOnce(Waiting);
  }
  m_Queue.CommitIfMuch();
}

// From now on others see the change wait, or wait no longer; on the disk that comes with the mail.
TSTakenMail& TCPropertyServer::AddToQueue(TSTakenMail&& Taken) {
  if (!Taken.Effects) {
    return m_Queue.Add(std::move(Taken));
  }
  TSControlEffects& Effects = *Taken.Effects;
  if (Taken.Changes.empty()) {
    Effects.Pending.reset();  // nothing would be taken back
  }
  if (Effects.Pending) {
    Effects.Pending->Transaction = Taken.Outcome.Transaction;
    Effects.Pending->Origin = Taken.Origin;
    m_Pending.Add(*Effects.Pending, Effects.Former);
  }
  std::uint64_t const Transaction = Taken.Outcome.Transaction;
  std::uint64_t const Settled = Effects.Settles;
  try {
    TSTakenMail& Waiting = m_Queue.Add(std::move(Taken));
    m_Pending.Settle(Settled);
    return Waiting;
  } catch (...) {
    m_Pending.Settle(Transaction);
    throw;
  }
}

// A mail that can not, and all behind it, take effect with the commit, in order. A value that
// nobody has is told of when it is stored: no mail could take it back from a process if it were
// lost.
void TCPropertyServer::TakeEffectAtOnce(TSTakenMail& Taken) {
  m_EffectsWait = Taken.IsNew;
  if (m_EffectsWait) {
    m_Queue.CommitWhenIdle();
    return;
  }
  try {
    m_Effects.TakeEffect(Taken);
  } catch (std::bad_alloc const&) {
    m_EffectsWait = true;
  }
}

TCPropertyServer::TCTexts const& TCPropertyServer::FindFormer(
    std::vector<TSPropertyRecord> const& Changes) {
  m_Former.clear();
  m_Former.reserve(Changes.size());
  for (TSPropertyRecord const& Change : Changes) {
    m_Former.push_back(FindNewest(PlaceOf(Change)));
  }
  return m_Former;
}

// What the value will be once everything that waits is stored. Where all of it has taken effect,
// that is what it is.
std::string const* TCPropertyServer::FindNewest(TCPropertyPlace const& Place) const {
  if (m_Durability == TEDurability::eRelaxed && !m_EffectsWait) {
    return m_Values.Find(Place);
  }
  if (TSPropertyRecord const* const Waiting = m_Queue.Find(Place)) {
    return Waiting->Removed ? nullptr : &Waiting->Data;
  }
  return m_Values.Find(Place);
}

void TCPropertyServer::OnStored(std::list<TSTakenMail>& Stored) {
  for (TSTakenMail& Taken : Stored) {
    if (!Taken.InEffect) {
      m_Effects.TakeEffect(Taken);
    }
    m_Effects.TellRefusal(Taken);
  }
  m_EffectsWait = m_Queue.IsAnyWithoutEffect();
  std::map<TSNorvSenderKey, TSNorvReceivedMail const*> Last;
  for (TSTakenMail const& Taken : Stored) {
    if (Taken.HasSender()) {
      Last[Taken.Mail.Sender] = &Taken.Mail;
    }
  }
  for (auto const& [Sender, Mail] : Last) {
    OnSettled(*Mail);
  }
  Stored.clear();
  if (!m_Queue.IsStoring()) {
    m_SecretTexts.EraseAgain();
  }
}

std::uint64_t TCPropertyServer::get_LastTaken(TSNorvSenderKey const& Sender) const {
  return m_Taken.get_InEffect(Sender);
}

TCPropertyServer::TCStatus TCPropertyServer::get_Status() const {
  return {{"values", std::to_string(m_Values.get_Count().Values)},
          {"peers", std::to_string(m_Router.get_ConnectionCount())},
          {"epoch", std::to_string(m_Router.get_Epoch())},
          {"sequence", std::to_string(get_Sequence())},
          {"durability", m_Durability == TEDurability::eFull ? "full" : "relaxed"},
          {"taken mails", std::to_string(m_Effects.get_TakenMails())},
          {"refused mails", std::to_string(m_Effects.get_RefusedMails())},
          {"waiting mails", std::to_string(m_Queue.get_WaitingCount())},
          {"commits", std::to_string(m_Queue.get_CommitCount())},
          {"last commit", std::to_string(m_Queue.get_LastCommit())},
          {"trouble", m_Trouble.get_Reason().empty() ? "none" : m_Trouble.get_Reason()},
          {"database", m_Database.get_Path()}};
}

std::string TCPropertyServer::Copy() {
  m_Queue.Commit();
  return m_Database.Copy();
}

bool TCPropertyServer::OnRequest(TSNorvMailSender const& Sender, TSNorvMailContent const& Request,
                                 TSNorvMailContent& Answer) {
  if (TCServerRequests::IsKnown(Request)) {
    Answer = m_ServerRequests.Answer(Sender, Request);
    return true;
  }
  bool const Control = TCControlRequests::IsKnown(Request);
  if (!Control && !TCPropertyRequests::IsKnown(Request)) {
    return false;
  }
  m_Trace.Print("received", Sender, Request, *m_Configuration);
  Answer = Control ? m_ControlRequests.Answer(Sender, Request) : m_Requests.Answer(Sender, Request);
  m_Trace.Print("answered", Sender, Answer, *m_Configuration);
  return true;
}

// What was refused; or all values, as a change: those that the subscriber holds already tell nobody
// anything there, and what it holds beside them is removed.
bool TCPropertyServer::OnCatchUp(TSNorvMailSender const& Sender, TCNorvMailClassID const& MailClass,
                                 TSNorvMailContent& Content) {
  if (MailClass == Norv_ControlMail) {
    Content = m_RefusalMails.TellAll(Sender);
    return true;
  }
  if (MailClass != Norv_PropertyMail) {
    return false;
  }
  Content = NewPropertyMail(PropertyProtocol::kPublishedChange, m_Values.EncodeWhole(Sender));
  m_Trace.Print("published", Sender, Content, *m_Configuration);
  return true;
}

std::shared_ptr<TCNorvMailBody const> TCPropertyServer::OnForward(
    TSNorvMailSender const& Subscriber, TSNorvMailContent const& Content) {
  bool const Refusal = Content.MailClass == Norv_ControlMail;  // which is for this one alone
  return Refusal ? Content.Body : m_Values.SelectReadable(Subscriber, Content.Body);
}

}  // namespace Property
