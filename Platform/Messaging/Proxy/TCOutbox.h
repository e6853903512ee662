// SPDX-License-Identifier: MIT
// The mails of a proxy to one mailbox, from their sending until they are acknowledged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "Platform/Messaging/Proxy/TCOwnChanges.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/Wire/Frame.h"
#include "Platform/Utility/ThreadAnnotations.h"

/// Numbers the mails, keeps them in their order, and puts those that are not on their way into
/// frames. Knows nothing of sockets, threads or time. Synchronised by its owner.
class TCOutbox {
 public:
  explicit TCOutbox(std::string Mailbox);

  /// Keeps a mail of `Stream`, its class at this mailbox, and returns its number.
  std::uint64_t Add(TSNorvMailContent const& Content, TCOwnChanges::TCStream Stream);
  /// Takes the mail back that was added last.
  void RemoveNewest();
  /// Forgets the mails up to `Number` that are on their way; returns the bytes that they took.
  std::size_t Acknowledge(std::uint64_t Number);
  /// None is on its way any more: the connection was lost.
  void Restart() { m_OnWay = 0; }

  bool HasUnsent() const { return m_OnWay < m_Mails.size(); }
  /// Whether a mail up to `Number` is not on its way.
  bool HasUnsentUpTo(std::uint64_t Number) const {
    return HasUnsent() && m_Mails[m_OnWay].Number <= Number;
  }
  /// A frame of the next mails, as many as go into one, and how many they are.
  struct TSNext {
    Wire::TCFrame Frame;
    std::size_t Count;
  };
  TSNext NextFrame() const;
  /// So many more are on their way.
  void NoteSent(std::size_t Count) { m_OnWay += Count; }
  std::size_t get_OnWay() const { return m_OnWay; }
  /// Whether the mails that are not on their way are so many, or so large, that waiting for others
  /// gains nothing.
  bool IsWorthAFrame() const;

  /// Hands the kept mails of a class to `Take` that come after the last one that was published, as
  /// far as is known, up to `Number`; that is the last one then.
  template <class TTake>
  void TakePublished(TCNorvMailClassID const& MailClass, TCOwnChanges::TCStream Stream,
                     std::uint64_t Number, TTake const& Take) PROPERTY_UNCHECKED_LOCKING {
    std::uint64_t& Published = m_Streams[Stream];
    for (TSMail const& Mail : m_Mails) {
      if (Mail.Number > Number) {
        break;
      }
      if (Mail.Number > Published && Mail.Content.MailClass == MailClass) {
        Take(Mail.Number, Mail.Content);
      }
    }
    Published = Number;
  }
  /// The mails of `Stream` up to `Number` are among what was published or answered.
  void NotePublished(TCOwnChanges::TCStream Stream, std::uint64_t Number) {
    m_Streams[Stream] = Number;
  }
  /// The streams that mails have gone to, and their last ones that were published.
  std::map<TCOwnChanges::TCStream, std::uint64_t> const& get_Streams() const { return m_Streams; }

  std::uint64_t get_LastNumber() const { return m_LastNumber; }
  std::uint64_t get_LastAcknowledged() const {
    return m_Mails.empty() ? m_LastNumber : m_Mails.front().Number - 1;
  }

  /// Bytes that a kept mail takes of the memory, with what is noted of it elsewhere.
  static std::size_t KeptSize(TSNorvMailContent const& Content);

 private:
  struct TSMail {
    std::uint64_t Number;
    TSNorvMailContent Content;
  };

  std::string const m_Mailbox;
  std::deque<TSMail> m_Mails;  // oldest first; those before m_OnWay are on their way
  std::size_t m_OnWay = 0;
  std::uint64_t m_LastNumber = 0;
  std::map<TCOwnChanges::TCStream, std::uint64_t> m_Streams;
};
