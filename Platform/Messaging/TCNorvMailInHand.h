// SPDX-License-Identifier: MIT
// Tells which records of a mail that is being put to use are to be left out.
#pragma once

#include <set>
#include <string>

#include "Platform/PlatformExport.h"

class TCOwnChanges;

/// Of a mail that a proxy hands over, or of an answer in hand: what of it changes of this process
/// have overtaken. See TCNorvServiceProxy::MarkChange(). Asked under the lock under which changes
/// are marked. Refers to the proxy, which outlives it.
class PROPERTY_PLATFORM_EXPORT TCNorvMailInHand {
 public:
  /// Of a mail that no change overtakes.
  TCNorvMailInHand() = default;

  /// Whether the record of `Key` is to be left out: because it may be older than a change on its
  /// way, or because the process holds it already.
  bool IsOvertaken(std::string const& Key) const;
  /// Whether IsOvertaken() may be true for any key.
  bool IsAnyOvertaken() const;
  /// Whether it is of an answer that has come.
  bool IsAnswer() const { return m_IsAnswer; }

 private:
  friend class TCNorvProxyConnection;

  TCOwnChanges const* m_Changes = nullptr;
  unsigned m_Stream = 0;
  bool m_IsAnswer = false;       // a change that was given up does not overtake it
  std::set<std::string> m_Held;  // keys of what the process holds already
};
