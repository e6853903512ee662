// SPDX-License-Identifier: MIT
// Decides whether a change is taken.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCServerSchema.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// Access rules, limits and the schema, as they are in force, for changes that somebody asks for.
/// Used by one thread. Refers to the configuration in force and to the schema.
class TCChangeRules {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;

  /// Without a schema everything is allowed that the configuration allows.
  TCChangeRules(TCConfiguration const& Configuration, TCServerSchema* Schema)
      : m_Configuration(Configuration), m_Schema(Schema) {}

  /// Why the sender may not change these values together; empty when it may. `Places` gets the
  /// value that the reason is about, if it is about one.
  std::string ReasonAgainst(TSNorvMailSender const& Sender,
                            std::vector<TSPropertyRecord> const& Changes,
                            std::vector<TCPropertyPlace>& Places) const;

 private:
  std::string ReasonAgainst(TSNorvMailSender const& Sender, TSPropertyRecord const& Change) const;

  TCConfiguration const& m_Configuration;
  TCServerSchema* const m_Schema;
};

/// What a value belongs to, for a message.
std::string Describe(TCPropertyPlace const& Place);

}  // namespace Property
