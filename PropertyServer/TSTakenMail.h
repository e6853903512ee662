// SPDX-License-Identifier: MIT
// A mail that the property server has decided on.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCValueQuota.h"
#include "PropertyServer/TSHistoryEntry.h"
#include "PropertyServer/TSMailOutcome.h"
#include "PropertyServer/TSPendingChange.h"
#include "PropertyServer/TSPropertyRecord.h"
#include "PropertyServer/TSRefusal.h"

namespace Property {

/// What is stored with a mail beside its values and their history.
struct TSControlEffects {
  std::uint64_t Undoes = 0;                ///< the transaction that is taken back; 0 for none
  std::optional<TSPendingChange> Pending;  ///< the change waits for its confirmation
  std::vector<TSPropertyRecord> Former;    ///< what stands again without it
  std::uint64_t Settles = 0;               ///< the change that waits no longer; 0 for none
};

/// What a mail changes, or asked to change when it was refused. One without a number was sent by
/// nobody: the server makes the change by itself.
struct TSTakenMail {
  explicit TSTakenMail(TSNorvReceivedMail Received) : Mail(std::move(Received)) {}

  TSNorvReceivedMail Mail;
  std::vector<TSPropertyRecord> Changes;
  bool IsUsual = false;  ///< its body has the changes in the form in which they are published
  bool IsNew = false;    ///< it changes something where there was no value, as far as is known
  bool Refused = false;
  bool InEffect = false;     ///< everybody has been told
  bool RefusalTold = false;  ///< its sender has been told of it
  TSProvenance Origin;
  std::vector<TSHistoryEntry> History;
  TSValueCount Growth;
  TSMailOutcome Outcome;
  std::shared_ptr<TSControlEffects> Effects;  ///< null for none, as of usual changes

  bool HasSender() const { return Mail.Number != 0; }
  /// What its sender is told when it was refused.
  TSRefusal get_Refusal() const {
    return {Mail.Number, Outcome.Refusal.value_or(std::string()), Outcome.Places, Outcome.Compared};
  }
};

}  // namespace Property
