// SPDX-License-Identifier: MIT
// Has changes made by the property server.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/TCMutex.h"

namespace Property {

/// A value that is to change. Null texts: there is none, or is to be none.
struct TSPlannedChange {
  TCPropertyKey Place;
  std::optional<std::string> Expected;  ///< what has to stand there
  std::optional<std::string> Data;
};

struct TSDecision {
  enum class TEKind {
    eStored,    ///< and in the store of this process
    eConflict,  ///< nothing has changed: values are not as expected, and those are in the store
    eRefused,   ///< nothing has changed, for another reason
    eBusy,      ///< nothing was sent: too many others wait
  };

  TEKind Kind = TEKind::eStored;
  std::string Transaction;            ///< its number; empty when nothing was changed
  std::string Reason;                 ///< of who refuses, for people; not for a terminal as it is
  std::vector<TCPropertyKey> Places;  ///< that the reason is about, if it is about some
};

/// Sends mails that change something as the store's own connection, one after the other, so that
/// the store has what has become of them when an operation returns. Each throws TCServerFailure
/// when the server is not there, or does not answer in time: then a change may still be made. One
/// per process, after the store. Synchronised.
class TCChangeDesk {
 public:
  TCChangeDesk();
  TCChangeDesk(TCChangeDesk const&) = delete;
  TCChangeDesk& operator=(TCChangeDesk const&) = delete;
  ~TCChangeDesk();

  /// All or none, if all is as expected. With `Seconds` the server takes it back by itself unless
  /// it is confirmed within that time.
  TSDecision Change(std::vector<TSPlannedChange> const& Changes, std::optional<int> Seconds);
  TSDecision Undo(std::string const& Transaction);
  TSDecision Confirm(std::string const& Transaction);
  /// Waits until the store has told its listeners of all that it holds; false when that takes too
  /// long.
  static bool AwaitTold();

 private:
  TSDecision Send(TSNorvMailContent const& Mail);
  TSDecision Decide(TSNorvMailContent const& Mail) PROPERTY_REQUIRES(m_Turn);

  class TCLastRefusal;

  // Shared with the handler, which may be told of one while this ends.
  std::shared_ptr<TCLastRefusal> const m_LastRefusal;
  std::atomic<int> m_Waiting{0};
  TCMutex m_Turn;  // held while a mail is decided on
};

}  // namespace Property
