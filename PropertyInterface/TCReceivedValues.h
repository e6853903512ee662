// SPDX-License-Identifier: MIT
// Reads the values that a mail of the server has.
#pragma once

#include <memory>
#include <string>

#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/Messaging/TCNorvMessage.h"

namespace Property {

/// Reads one record after the other, into what its thread keeps for that. Used by one thread, and
/// only one at a time in each thread.
class TCReceivedValues {
 public:
  explicit TCReceivedValues(TCNorvMessage const& Mail);
  TCReceivedValues(TCReceivedValues const&) = delete;
  TCReceivedValues& operator=(TCReceivedValues const&) = delete;
  ~TCReceivedValues();

  /// Goes on to the next value whose property this program's schema has. False when there is none.
  bool Next();

  /// Whether the server holds no other values than those of the mail. Known when one was read.
  bool IsWhole() const { return m_IsWhole; }

  // Of the value, until the next one is read.
  TCPropertyKey get_Key() const;
  /// The device as it was written.
  std::string const& get_MAC() const { return *m_MAC; }
  /// Whether the server holds it.
  bool IsHeld() const;
  std::string const& get_Data() const;

 private:
  struct TSReading;

  TSReading& m_Reading;
  std::shared_ptr<TCNorvMailBody const> const m_Body;
  int m_NextRecord = 0;
  bool m_IsWhole = false;
  TCPropertyID const* m_ID = nullptr;
  std::string const* m_MAC = nullptr;
};

}  // namespace Property
