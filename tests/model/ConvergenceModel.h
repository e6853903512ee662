// SPDX-License-Identifier: MIT
// A small world of writers, a server, and connections that break, which explores itself.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Platform/Messaging/Proxy/TCOwnChanges.h"

/// What is explored. A program is what one thread does, in order.
struct TModelPlan {
  /// What the server does with a mail.
  enum class TFate { eTaken, eRefused, eRefusedUnread };
  struct TSet {
    std::vector<int> m_Keys;  ///< all set in one mail
    TFate m_Fate = TFate::eTaken;
    bool m_IfUnchanged = false;  ///< the server sets them if they are what the thread has read
  };
  struct THiding {
    std::size_t m_Process;  ///< that may neither read nor write from some moment on
    int m_Key;              ///< this one
  };
  using TProgram = std::vector<TSet>;
  std::vector<std::vector<TProgram>> m_Processes;  ///< programs of the threads of each process
  std::vector<THiding> m_Hidings;                  ///< in their order
  int m_Cuts = 0;                                  ///< connections that may break
  bool m_CutFirstOnly = false;                     ///< those of the first process alone
  int m_Crashes = 0;                               ///< of the server
  bool m_Relaxed = false;                          ///< published before it is stored
  int m_ExclusiveKey = -1;  ///< set by one thread only, which must never see it go back
};

/// One state of the world. Processes use the account of own changes that the product uses; the rest
/// is what the messaging and the server promise, in its smallest form:
///  - a store that a thread changes, marking the change, and a mail that it sends later;
///  - a connection that keeps the order and may lose what is under way, then catches up by the
///    mails that were missed or by the whole state, and sends again what was not acknowledged;
///  - a server that takes each mail once, in order, and remembers that with the data;
///  - mails that it refuses, after which their senders are sent what stands, or the whole;
///  - rights that are taken from a process, which is sent the whole that it may still read;
///  - changes on conditions, which the server decides on, and which a process makes when it has
///    heard of that: what was refused, it hears with the acknowledgement.
class TConvergenceModel {
 public:
  explicit TConvergenceModel(TModelPlan const& Plan);

  /// Number of steps that are possible now, and one of them. Throws std::logic_error when a step
  /// breaks a promise.
  std::size_t CountSteps() const { return Steps().size(); }
  void Step(std::size_t Index);

  /// Equal for two states with the same future.
  std::string Fingerprint() const;
  /// Of a world in which nothing is left to happen: empty, or what is wrong with it.
  std::string FinalFault() const;

 private:
  struct TMail {  // from a process
    std::uint64_t m_Number;
    std::map<int, int> m_Values;
    TModelPlan::TFate m_Fate;
    bool m_Conditional = false;
    std::map<int, int> m_Expected = {};
  };
  // From the server: a mail; what stands after a refused or a decided one; the whole; that own
  // mails were published, or acknowledged. Among those kept, that who returns from before has to
  // have the whole.
  struct TPublished {
    enum class TKind { eMail, eStanding, eWhole, eOwnMails, eAcknowledged, eNeedsWhole } m_Kind;
    std::size_t m_Origin;  // kEverybody: of eNeedsWhole only
    std::uint64_t m_Number;
    std::map<int, int> m_Values;
    std::size_t m_Position = 0;  // mails of the epoch that it includes
  };
  struct TThread {
    std::size_t m_Done = 0;
    bool m_Marked = false;
    TCOwnChanges::TCMark m_Mark = 0;
    std::map<int, int> m_Values;  // set and not yet sent
    TModelPlan::TFate m_Fate = TModelPlan::TFate::eTaken;
    std::uint64_t m_Awaited = 0;  // mail that the server decides on, with m_Values
  };
  struct TDelivery {
    bool m_Active = false;
    std::map<int, int> m_Values;   // not yet applied
    std::set<std::string> m_Held;  // keys that are left alone
    bool m_Whole = false;
    std::set<int> m_Named;      // in the whole
    std::uint64_t m_OfOne = 0;  // of what stands after this mail
  };
  struct TProcess {
    TProcess();

    std::vector<TThread> m_Threads;
    std::map<int, int> m_Store;
    int m_Exclusive = 0;  // what it has set, or heard that it has changed, of the exclusive key
    TCOwnChanges m_Own;
    std::uint64_t m_LastNumber = 0;
    std::deque<TMail> m_Outbox;
    bool m_Connected = true;
    bool m_NewEpoch = false;       // the server was another when it was last connected
    std::size_t m_Seen = 0;        // published mails received
    std::deque<TMail> m_ToServer;  // under way
    std::deque<TPublished> m_FromServer;
    std::optional<TPublished> m_OwnToTell;  // kept by the server until it matters
    std::uint64_t m_OwnPublished = 0;       // the last of them that the process has heard of
    bool m_Behind = false;              // the server owes it the whole, and sends nothing before
    std::uint64_t m_ToAcknowledge = 0;  // behind that
    std::set<int> m_Hidden;             // what it may not read and write
    std::deque<TPublished> m_Inbox;
    std::uint64_t m_UpTo = 0;  // mails that what stands, or the whole, has included
    TDelivery m_Delivery;
  };
  struct TServer {
    std::map<int, int> m_Values;
    std::vector<std::uint64_t> m_Last;                          // taken mail of each process
    std::vector<std::pair<std::size_t, std::uint64_t>> m_Log;   // mails in the order taken
    std::set<std::pair<std::size_t, std::uint64_t>> m_Refused;  // of those on conditions
  };
  struct TStep {
    enum class TKind {
      eSet,
      eSend,
      eAsk,
      eDecide,
      eTake,
      eStore,
      eReceive,
      eBegin,
      eApply,
      eEnd,
      eCut,
      eConnect,
      eConnectWhole,
      eCrash,
      eHide,
      eResume
    } m_Kind;
    std::size_t m_Process;
    std::size_t m_Thread;
  };

  std::vector<TStep> Steps() const;
  void AddThreadSteps(std::size_t Process, std::vector<TStep>& Steps) const;
  void Set(std::size_t Process, TThread& Thread, TModelPlan::TSet const& Set, int Value);
  void Send(TProcess& Process, TThread& Thread);
  void Ask(TProcess& Process, TThread& Thread, TModelPlan::TSet const& Set, int Value);
  void Decide(std::size_t Process, TThread& Thread);
  void NoteExclusive(TProcess& Process, int Key, int Value) const;
  static void Post(TProcess& Process, TMail const& Mail);
  void Take(std::size_t Process);
  void Refuse(std::size_t Process, TMail const& Mail);
  void Publish(std::size_t Process, TMail const& Mail);
  void Restore(std::size_t Process, TMail const& Mail);
  bool IsAsExpected(TMail const& Mail) const;
  std::map<int, int> Readable(TProcess const& Process) const;
  static std::optional<TPublished> Forwarded(std::size_t Index, TProcess const& Process,
                                             TPublished Published);
  TPublished WholeFor(std::size_t Process) const;
  void FallBehind(TProcess& Process, std::size_t Concerned);
  void Resume(std::size_t Process);
  void Hide();
  void Store();
  static void Acknowledge(TProcess& Process, std::size_t Index, std::uint64_t Number);
  static void Tell(TProcess& Process, TPublished const& Published);
  static void TellOfOwn(TProcess& Process);
  void Receive(std::size_t Process);
  void ReceiveMail(std::size_t Process, TPublished const& Received);
  static void ReceiveAcknowledgement(TProcess& Process, TPublished const& Received);
  void Begin(std::size_t Process);
  void Apply(std::size_t Process);
  static void End(TProcess& Process);
  void Cut(TProcess& Process);
  void Connect(std::size_t Process, bool Whole);
  void Crash();
  bool MayReplay(std::size_t Process) const;

  static constexpr TCOwnChanges::TCStream kStream = 0;

  TModelPlan const* m_Plan;
  int m_CutsLeft;
  int m_CrashesLeft;
  std::size_t m_Hidings = 0;               // that have come
  TServer m_Server;                        // what it tells
  TServer m_Disk;                          // what it would come back with
  std::vector<TPublished> m_Publications;  // of this epoch
  std::vector<TProcess> m_Processes;
};

/// Visits every state that the plan can come to. Throws std::logic_error with the steps that lead
/// to a broken promise; returns the number of states.
std::size_t Explore(TModelPlan const& Plan);
