// SPDX-License-Identifier: MIT
// A process of the model: its threads, what it holds, and the product's account of its mails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Platform/Messaging/Proxy/TCOutbox.h"
#include "Platform/Messaging/Proxy/TCOwnChanges.h"
#include "Platform/Messaging/Proxy/TCSubscription.h"
#include "tests/model/ModelMails.h"
#include "tests/model/ModelPlan.h"
#include "tests/model/TCSharedPart.h"

/// Does what a proxy and a store do, one step at a time, so that anything may happen in between.
/// Its mails, its changes on their way and its place among the published mails are in the product's
/// own classes. A store that a thread changes, marking the change, and a mail that it sends later;
/// or a mail that asks for a change on a condition, which the process makes when it hears of it.
/// Throws std::logic_error when a promise is broken.
class TCModelProcess {
 public:
  /// One that has been answered before anything was published, and has subscribed.
  TCModelProcess(TSModelPlan const& Plan, std::size_t Index);

  /// What a thread does next. eDecide: it waits for a decision that has come.
  enum class TENext { eNothing, eSet, eSend, eAsk, eDecide };
  TENext NextOf(std::size_t Thread) const;
  std::size_t CountThreads() const { return m_Threads.size(); }
  void Set(std::size_t Thread);
  void Send(std::size_t Thread);
  void Ask(std::size_t Thread);
  void Decide(std::size_t Thread, bool IsRefused);
  std::uint64_t get_Awaited(std::size_t Thread) const { return m_Threads[Thread].m_Awaited; }

  /// The mails that are not on their way, and are from now on.
  std::vector<TSModelMail> TakeUnsent();
  void Receive(TSModelPublished const& Received);
  /// The connection was lost, and there is another.
  void Cut();
  void Connect() { m_Subscription.NoteRequested(); }
  Wire::TSPosition const& get_Received() const { return m_Subscription.get_Received(); }

  /// What has arrived is handed over record by record.
  bool IsDelivering() const { return m_Delivery.m_Active; }
  bool HasToBegin() const { return !IsDelivering() && !m_Inbox.empty(); }
  bool HasToApply() const { return IsDelivering() && !m_Delivery.m_Values.empty(); }
  void Begin();
  void Apply();
  void End();

  TCModelValues const& get_Store() const { return m_Store; }
  std::uint64_t get_LastNumber() const { return m_Outbox->get_LastNumber(); }
  /// Whether it still waits for its changes.
  bool IsWaiting() const;

  /// Equal for two with the same future, at the same place among the published mails.
  std::string Text(TCPartNumbers& Numbers) const;
  std::string get_AsText() const;

 private:
  struct TSThread {
    std::size_t m_Done = 0;
    bool m_IsMarked = false;
    TCOwnChanges::TCMark m_Mark = 0;
    TCModelValues m_Values;  // set and not yet sent
    TSModelPlan::TEFate m_Fate = TSModelPlan::TEFate::eTaken;
    std::uint64_t m_Awaited = 0;  // mail that the server decides on, with m_Values
  };
  struct TSDelivery {
    bool m_Active = false;
    TCModelValues m_Values;        // not yet applied
    std::set<std::string> m_Held;  // keys that are left alone
    bool m_Whole = false;
    std::set<int> m_Named;      // in the whole
    std::uint64_t m_OfOne = 0;  // of what stands after this mail
  };

  TSModelPlan::TSSet const& SetOf(std::size_t Thread) const;
  int NextValue(std::size_t Thread) const;
  void Post(TSModelMail const& Mail);
  void RequireRead(std::uint64_t Number, TCModelValues const& Values);
  void NoteExclusive(int Key, int Value);
  bool IsNextInLine() const { return m_Inbox.empty() && !IsDelivering(); }
  void TakePublished(TSModelPublished const& Received);
  void PutAway(TSModelPublished const& Received);
  void PutAwayAcknowledged(std::uint64_t Number);
  bool IsToBeHandedOver(TSModelPublished const& Received);
  void AppendThreads(std::string& Text) const;
  std::string OwnText() const;

  static constexpr TCOwnChanges::TCStream kStream = 0;
  static constexpr TCOwnChanges::TCStream kConditionStream = 1;

  TSModelPlan const* m_Plan;
  std::size_t m_Index;
  std::vector<TSThread> m_Threads;
  TCModelValues m_Store;
  int m_Exclusive = 0;  // what it has set, or heard that it has changed, of the exclusive key
  TCSharedPart<TCOwnChanges> m_Own;
  TCSharedPart<TCOutbox> m_Outbox;
  TCSubscription m_Subscription;
  std::vector<TSModelPublished> m_Inbox;
  std::uint64_t m_UpTo = 0;  // mails that what stands, or the whole, has included
  TSDelivery m_Delivery;
};
