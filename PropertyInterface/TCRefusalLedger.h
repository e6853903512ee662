// SPDX-License-Identifier: MIT
// What the server has told of this process's refused mails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCMutex.h"
#include "Platform/Utility/TCRecordID.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "PropertyInterface/TSPropertyRefusal.h"

namespace Property {

/// Remembers the newest refusals, as many as its bounds allow. Each is told once or several times,
/// in the order of the mails.
///
/// Synchronised by a lock of its own, under which nothing else is called.
class TCRefusalLedger {
 public:
  /// One refused mail, with numbers where the schema has definitions.
  struct TSRefusedMail {
    struct TSPlace {
      int Number = 0;
      Accessories::TCRecordID Link;
      TCMACAddress MAC;
      bool Standing = false;  // what stands there is told
      std::optional<std::string> Data;
    };
    std::uint64_t Number = 0;
    std::string Reason;
    std::vector<TSPlace> Places;
  };
  /// What one mail of the server's tells.
  struct TSTold {
    std::uint64_t Forgotten = 0;  // of the mails up to this one, the others
    std::vector<TSRefusedMail> Mails;
  };

  static constexpr std::size_t kMostMails = 1000;
  static constexpr std::size_t kMostBytes = std::size_t{4} << 20;

  /// Reads a mail of the server's. Throws TCException when it can not be read.
  static TSTold Read(TSNorvMailContent const& Content);
  /// For the application, by the schema: what it has no definition of is left out.
  static TSPropertyRefusal Resolve(TSRefusedMail const& Mail);

  /// Takes note of a mail of the server's, which comes when the mails up to `Acknowledged` were.
  /// One that can not be read leaves everything behind them unknown.
  void Take(TSNorvMailContent const& Content, std::uint64_t Acknowledged);
  /// What is known of the mails from `First` to `Last`, which were acknowledged up to there.
  TSPropertyReceipt Look(std::uint64_t First, std::uint64_t Last) const;

 private:
  static std::size_t SizeOf(TSRefusedMail const& Mail);
  void Note(TSRefusedMail Mail) PROPERTY_REQUIRES(m_Mutex);
  void NoteUnknown(std::uint64_t First, std::uint64_t Last) PROPERTY_REQUIRES(m_Mutex);

  TCMutex mutable m_Mutex;
  std::deque<TSRefusedMail> m_Mails PROPERTY_GUARDED_BY(m_Mutex);
  std::size_t m_Bytes PROPERTY_GUARDED_BY(m_Mutex) = 0;
  // The newest refused mail, and the newest that is not in m_Mails any more.
  std::uint64_t m_LastNoted PROPERTY_GUARDED_BY(m_Mutex) = 0;
  std::uint64_t m_Dropped PROPERTY_GUARDED_BY(m_Mutex) = 0;
  // Of the mails between these it is not known which were refused.
  std::uint64_t m_FirstUnknown PROPERTY_GUARDED_BY(m_Mutex) = 0;
  std::uint64_t m_LastUnknown PROPERTY_GUARDED_BY(m_Mutex) = 0;
};

}  // namespace Property
