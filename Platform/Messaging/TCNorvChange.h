// SPDX-License-Identifier: MIT
// A change of this process on its way from who makes it to who sends it.
#pragma once

#include <cstdint>

#include "Platform/PlatformExport.h"

class TCOwnChanges;

/// A change that a process has made and that a mail will tell of: handed on from who announces it,
/// with TCNorvServiceProxy::MarkChange(), to who sends that mail, with Post(). Destroyed before, it
/// will not be sent, and is not on its way any more.
///
/// Refers to the proxy that made it, which outlives it. Belongs to one thread at a time.
class PROPERTY_PLATFORM_EXPORT TCNorvChange {
 public:
  /// A change of nothing that anybody keeps.
  TCNorvChange() = default;
  TCNorvChange(TCNorvChange&& Other) noexcept;
  TCNorvChange& operator=(TCNorvChange&&) = delete;
  TCNorvChange(TCNorvChange const&) = delete;
  TCNorvChange& operator=(TCNorvChange const&) = delete;
  ~TCNorvChange();

 private:
  friend class TCNorvProxyConnection;

  TCNorvChange(TCOwnChanges& Changes, std::uint64_t Mark) : m_Changes(&Changes), m_Mark(Mark) {}
  bool IsOfNothing() const { return m_Changes == nullptr; }
  void Sent(std::uint64_t Number);

  TCOwnChanges* m_Changes = nullptr;
  std::uint64_t m_Mark = 0;
};
