// SPDX-License-Identifier: MIT
// Decides what of the published mails a process takes in while changes of its own are on their way.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Platform/Messaging/TCNorvMailBody.h"

/// The changes that one proxy has sent and whose published copies it has not come to yet.
///
/// A process applies its change at once; the service applies the changes of all processes one
/// after the other and publishes them in that order. So that every process ends where the service
/// does, what a process holds is the service's state with its own changes on their way laid over:
///  - a published change of something that an own change on its way is about is left out, because
///    the own one comes later in the service's order;
///  - the published copy of an own change ends its way and is left out too, because the process
///    holds it already,
///  - except when the process may hold something else in its place: because a published change of
///    the same thing was handed over between the process's own change and its sending, or because
///    two threads' changes of it were sent in the other order than they were made. Then the copy
///    is handed over.
///
/// What a record is about are its key fields. Mails are numbered by stream, that is by mailbox and
/// mail class. A process marks the moment of a change with Mark(), under the lock that makes the
/// change, and names the mark when it sends it.
///
/// Synchronised by a lock of its own, under which nothing else is called.
class TCOwnChanges {
 public:
  /// A place in the order of changes and deliveries.
  using TCMoment = std::uint64_t;
  using TCBody = std::shared_ptr<TCNorvMailBody const>;

  /// What of a mail is to be handed over; without records when that is nothing. Its records count
  /// as being handed over until End() is called with its place.
  struct TSHandover {
    TCBody Body;
    std::uint64_t Place;
  };

  /// The moment of a change that will be sent; kept until Sent() or Unmark().
  TCMoment Mark();
  void Unmark(TCMoment Mark);

  /// Mail `Number` of `Stream` goes on its way with the change made at `Mark`, which ends.
  void Sent(std::string const& Stream, std::uint64_t Number, TCNorvMailBody const& Body,
            TCMoment Mark);

  /// The published copy of the own mail `Number`.
  TSHandover BeginOwn(std::string const& Stream, std::uint64_t Number, TCBody const& Body);
  /// Another's published mail.
  TSHandover BeginForeign(std::string const& Stream, TCBody const& Body);
  /// A mail that brings the process up to date, its own mails up to `Number` included.
  TSHandover BeginCatchUp(std::string const& Stream, std::uint64_t Number, TCBody const& Body);
  /// An answer, all of which is handed over, whatever it replaces; what it lacks may go too. Returns
  /// its place for End().
  std::uint64_t BeginAnswer(std::string const& Stream);
  void End(std::uint64_t Place);

  /// BeginOwn() and End() when nothing is to be handed over; otherwise false, and nothing is done.
  bool EndsSilently(std::string const& Stream, std::uint64_t Number, TCNorvMailBody const& Body);

  /// Mails up to `Number` are done, and those that have not been published will not be.
  void Done(std::string const& Stream, std::uint64_t Number);
  /// Whether a mail up to `Number` is on its way.
  bool HasUpTo(std::string const& Stream, std::uint64_t Number) const;

 private:
  // The newest change on its way of one key.
  struct TSChange {
    std::uint64_t Number;
    TCMoment Made;  // the latest of all that are on their way
    bool TakeBack;  // its published copy is to be handed over
  };
  using TCChanges = std::unordered_map<std::string, TSChange>;

  struct TSStream {
    std::uint32_t KeyFields = 0;  // 0 until the first mail with keys was sent
    std::string Signature;
    TCChanges Changes;                                  // by key
    std::map<std::uint64_t, std::size_t> Numbers;       // of Changes, with how many have each
    std::unordered_map<std::string, TCMoment> Touched;  // by key, since the oldest mark

    bool HasKeysOf(TCNorvMailBody const& Body) const;
    std::vector<std::string> KeysOf(TCNorvMailBody const& Body) const;
  };

  // Records that are being handed over: those of these keys, or any.
  struct TSUnderWay {
    std::uint64_t Place;
    TSStream* Stream;
    bool Any;
    std::unordered_set<std::string> Keys;
  };

  TSHandover Begin(TSStream& Stream, TCBody const& Body, std::vector<std::string> const& Keys,
                   std::vector<bool> const& Taken);
  TSHandover BeginOverlaid(TSStream& Stream, TCBody const& Body);
  std::vector<bool> TakenOfOwn(TSStream const& Stream, std::uint64_t Number,
                               std::vector<std::string> const& Keys) const;
  void EndWay(TSStream& Stream, std::uint64_t Number, std::vector<std::string> const& Keys);
  void EndWayUpTo(TSStream& Stream, std::uint64_t Number);
  void Erase(TSStream& Stream, TCChanges::iterator Change);
  void CountOut(TSStream& Stream, std::uint64_t Number);
  bool MayBeReplaced(TSStream const& Stream, std::string const& Key, TCMoment Since) const;
  void Touch(TSStream& Stream, std::string const& Key);
  void EndMark(TCMoment Mark);

  std::mutex mutable m_Mutex;
  // guarded by m_Mutex
  TCMoment m_Now = 0;
  std::vector<TCMoment> m_Marks;
  std::map<std::string, TSStream> m_Streams;
  std::vector<TSUnderWay> m_UnderWay;
  TCMoment m_AnyTouched = 0;  // when records of unknown keys were last handed over
};
