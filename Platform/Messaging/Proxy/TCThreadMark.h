// SPDX-License-Identifier: MIT
// What a thread is about to send.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/Proxy/TCOwnChanges.h"

/// The calling thread's change that it has not sent yet, and the last mail that it has sent. A
/// thread that ends without sending its change, or makes another first, gives the mark back.
class TCThreadMark {
 public:
  TCThreadMark() = default;
  TCThreadMark(TCThreadMark const&) = delete;
  TCThreadMark& operator=(TCThreadMark const&) = delete;
  ~TCThreadMark() { Clear(); }

  void Set(std::shared_ptr<TCOwnChanges> const& Changes, std::string const& Stream,
           std::vector<std::string> Keys) {
    Clear();
    m_Mark = Changes->Mark(Stream, std::move(Keys));
    m_Changes = Changes;
  }

  /// The mark, which is the caller's then; 0 for none.
  TCOwnChanges::TCMark Take(std::shared_ptr<TCOwnChanges> const& Changes) {
    if (m_Changes.lock() != Changes) {
      return 0;
    }
    m_Changes.reset();
    return m_Mark;
  }

  /// The thread has sent mail `Number` of an outbox, which has that number among all there ever
  /// were.
  void NoteSent(std::uint64_t Outbox, std::uint64_t Number) {
    m_Outbox = Outbox;
    m_Number = Number;
  }

  /// The last one of the thread, if it went to that outbox; 0 for none.
  std::uint64_t get_LastSent(std::uint64_t Outbox) const {
    return m_Outbox == Outbox ? m_Number : 0;
  }

  void Clear() {
    if (auto const Changes = m_Changes.lock()) {
      Changes->Unmark(m_Mark);
    }
    m_Changes.reset();
  }

 private:
  std::weak_ptr<TCOwnChanges> m_Changes;
  TCOwnChanges::TCMark m_Mark = 0;
  std::uint64_t m_Outbox = 0;
  std::uint64_t m_Number = 0;
};
