// SPDX-License-Identifier: MIT
// Tells which changes of this process are on their way, so that nothing older replaces them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Utility/TCMutex.h"

/// The changes that a process has made and whose published copies it has not come to yet.
///
/// A process applies its change at once; the service applies the changes of all processes one
/// after the other and publishes them in that order. So that every process ends where the service
/// does, what a process holds is the service's state with its own changes on their way laid over:
///  - what arrives about something of which an own change is on its way is left out, because the
///    own one comes later in the service's order. This is asked with IsOnWay() under the lock that
///    guards the process's state, at the moment when it would be applied;
///  - the published copy of an own change ends its way, and is left out too, because the process
///    holds it already, except what it may hold something else in place of: because two threads'
///    changes were sent in the other order than they were made, or because it was given up.
///
/// A service may publish before it has stored. When it loses what it had not stored, and what
/// brings the process up to date lacks changes whose copies had come, those are on their way once
/// more, because they are sent again.
///
/// A change is on its way from Mark(), called under the same lock that makes it. It is about keys;
/// streams, a mailbox and a mail class each, keep them apart and number their mails.
///
/// Synchronised by a lock of its own, under which nothing else is called.
class TCOwnChanges {
 public:
  /// A place in the order in which changes are made.
  using TCMark = std::uint64_t;
  /// The number of a stream.
  using TCStream = unsigned;

  TCOwnChanges() = default;
  /// An account of its own that goes on from here.
  TCOwnChanges(TCOwnChanges const& Other);
  TCOwnChanges& operator=(TCOwnChanges const&) = delete;

  /// The stream of the mails of a class to a mailbox; the same one always. Throws TCException for a
  /// mailbox or class that no mail can have.
  TCStream StreamOf(std::string const& Mailbox, TCNorvMailClassID const& MailClass);

  /// A change is being made that will be sent to `Stream`. Ended by Sent() or Unmark().
  TCMark Mark(TCStream Stream, std::vector<std::string> Keys);
  /// The change will not be sent.
  void Unmark(TCMark Mark);
  /// The change is in mail `Number` of its stream.
  void Sent(TCMark Mark, std::uint64_t Number);

  /// Whether a change of `Key` is on its way.
  bool IsOnWay(TCStream Stream, std::string const& Key) const;
  /// Whether no change is, of any key.
  bool IsEmpty() const;
  /// Whether a change of `Key` is, and the process holds it: an answer, which may be older, does
  /// not replace it.
  bool IsHeld(TCStream Stream, std::string const& Key) const;
  /// The keys of which that is so.
  std::vector<std::string> HeldKeys(TCStream Stream) const;
  /// The process does not hold its changes of `Keys` any more: the copies that come are applied.
  void GiveUp(TCStream Stream, std::vector<std::string> const& Keys);

  /// The published copy of mail `Number` has come. Returns whether records of it are to be applied:
  /// all but those of `Held` and those of which a later change is on its way.
  bool EndOwn(TCStream Stream, std::uint64_t Number, std::set<std::string>& Held);
  /// EndOwn() when that says no; otherwise false, and nothing has happened.
  bool EndOwnSilently(TCStream Stream, std::uint64_t Number);
  /// What brings the process up to date has come; it includes the mails up to `Number`, and none of
  /// the later ones, which a service that has lost them may have published before.
  void CatchUp(TCStream Stream, std::uint64_t Number);
  /// Mails up to `Number` will not be lost, and copies that have not come will not.
  void Acknowledge(TCStream Stream, std::uint64_t Number);
  /// The service makes a change of `Keys` that mail `Number` of another stream has asked for, and
  /// the process makes it now. It is on its way until its copy comes, which CatchUp() tells.
  /// Returns those that the process is to change: not those of which a later change is on its way,
  /// nor any whose copy has come, unless that is being applied now (`InDelivery`).
  std::vector<std::string> TakeDecided(TCStream Stream, std::uint64_t Number,
                                       std::vector<std::string> const& Keys, bool InDelivery);
  /// Whether Acknowledge() would do anything.
  bool HasUpTo(TCStream Stream, std::uint64_t Number) const;

  /// Keeps all other threads out, so that a fork copies a whole account.
  void Lock() PROPERTY_ACQUIRES(m_Mutex) { m_Mutex.Enter(); }
  void Unlock() PROPERTY_RELEASES(m_Mutex) { m_Mutex.Leave(); }

  /// All of the account; equal for two that will decide alike, however they came about.
  std::string get_AsText() const;

 private:
  struct TSKey {
    unsigned Changes = 0;   // on their way
    unsigned Copies = 0;    // that have come, of mails that may be lost yet
    TCMark LastSent = 0;    // the latest made of those that were sent
    bool Inverted = false;  // the last one sent was not the last one made
    bool GivenUp = false;   // the process may hold something else
  };
  using TCKeys = std::map<std::string, TSKey>;
  using TCPlaces = std::vector<TCKeys::iterator>;

  struct TSStream {
    std::string Mailbox;
    TCNorvMailClassID MailClass;
    TCKeys Keys;
    std::map<std::uint64_t, TCPlaces> Mails;  // on their way, by number
    std::map<std::uint64_t, TCPlaces> Come;   // whose copies have come, until they are acknowledged
    std::uint64_t UpTo = 0;                   // of CatchUp()
  };
  // Made and not yet sent: one a thread, at most.
  struct TSMarked {
    TCMark Mark;
    TCStream Stream;
    TCPlaces Places;
  };

  static bool IsToBeApplied(TSKey const& Key) { return Key.Inverted || Key.GivenUp; }
  static bool IsAnyToBeApplied(TCPlaces const& Places);
  bool IsChangedAfter(TCStream Stream, std::uint64_t Number, std::string const& Key) const
      PROPERTY_REQUIRES(m_Mutex);
  TSKey const* Find(TCStream Stream, std::string const& Key) const PROPERTY_REQUIRES(m_Mutex);
  std::vector<TSMarked>::iterator FindMarked(TCMark Mark) PROPERTY_REQUIRES(m_Mutex);
  static void EraseIfUnused(TSStream& Stream, TCKeys::iterator Place);
  void BeginChange(TSKey& Key) PROPERTY_REQUIRES(m_Mutex);
  void EndChange(TSKey& Key) PROPERTY_REQUIRES(m_Mutex);
  void MoveToCome(TSStream& Stream, std::uint64_t Number) PROPERTY_REQUIRES(m_Mutex);
  void MoveToCome(TSStream& Stream, std::map<std::uint64_t, TCPlaces>::iterator Mail)
      PROPERTY_REQUIRES(m_Mutex);
  void MoveBack(TSStream& Stream, std::map<std::uint64_t, TCPlaces>::iterator Mail)
      PROPERTY_REQUIRES(m_Mutex);
  static void ForgetCome(TSStream& Stream, std::uint64_t Number);

  TCMutex mutable m_Mutex;
  TCMark m_LastMark PROPERTY_GUARDED_BY(m_Mutex) = 0;
  std::deque<TSStream> m_Streams PROPERTY_GUARDED_BY(m_Mutex);  // a handful
  std::vector<TSMarked> m_Marked PROPERTY_GUARDED_BY(m_Mutex);
  std::size_t m_OnWay PROPERTY_GUARDED_BY(m_Mutex) = 0;  // changes, of all keys
};
