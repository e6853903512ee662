// SPDX-License-Identifier: MIT
// A writer whose changes are taken back, reset and confirmed.
#pragma once

#include <atomic>
#include <optional>
#include <random>
#include <string>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "PropertyInterface/PropertyControl.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "tests/fault/soak/SoakJournal.h"

/// Changes one value that nobody else writes, in every way that a server can take back, and knows
/// after each step what it has to be. Has a connection of its own. Used by one thread.
class TSoakKeeper {
 public:
  TSoakKeeper(TSoakJournalWriter& Journal, int Stream, unsigned long Seed);

  /// Ends between two steps.
  void Run(std::atomic<bool> const& Ending);

 private:
  using TCValue = std::optional<std::string>;
  using TCControlMail = TCNorvMailMessage<Property::TCNorvControlObject>;

  unsigned Draw(unsigned Bound) { return static_cast<unsigned>(m_Random() % Bound); }
  TCValue NewValue();

  void Step();
  void Set();
  void SetForTheTimeBeing();
  void Reset();
  void Confirm();
  void Undo();

  bool Change(TSNorvMailContent const& Mail, TCValue After);
  bool IsTaken();
  void RequireValue();
  void SetPlace(Property::TCNorvControlObject::TCRecord& Record) const;

  TSoakJournalWriter& m_Journal;
  int const m_Stream;
  std::mt19937_64 m_Random;
  TCNorvServiceProxy m_Proxy;
  int m_Steps = 0;
  TCValue m_Value;
  TCValue m_Former;           // before the last transaction
  std::string m_Transaction;  // the last one; empty for none
  bool m_Waits = false;       // for its confirmation
};
