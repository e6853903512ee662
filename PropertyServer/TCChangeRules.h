// SPDX-License-Identifier: MIT
// Decides whether a change is taken.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// Access rules and limits, as they are in force, for changes that somebody asks for. Used by one
/// thread. Refers to the configuration in force.
class TCChangeRules {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  explicit TCChangeRules(TCConfiguration const& Configuration) : m_Configuration(Configuration) {}

  /// Why the sender may not change these values together; empty when it may.
  std::string ReasonAgainst(TSNorvMailSender const& Sender,
                            std::vector<TSPropertyRecord> const& Changes) const;

 private:
  std::string ReasonAgainst(TSNorvMailSender const& Sender, TSPropertyRecord const& Change) const;

  TCConfiguration const& m_Configuration;
};

/// What a value belongs to, for a message.
std::string Describe(TCPropertyPlace const& Place);

}  // namespace Property
