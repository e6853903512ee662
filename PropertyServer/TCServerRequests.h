// SPDX-License-Identifier: MIT
// Answers the questions about the server itself.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCServerConfiguration.h"

namespace Property {

/// Answers requests of the class "propertyserver" for those who may ask. Used by one thread. Refers
/// to the configuration in force.
class TCServerRequests {
 public:
  using TCConfiguration = std::shared_ptr<TCServerConfiguration const>;
  using TCStatus = std::vector<std::pair<std::string, std::string>>;  // name and value

  /// `Status` makes the server's figures, `Copy` the image of its database.
  TCServerRequests(TCConfiguration const& Configuration, std::function<TCStatus()> Status,
                   std::function<std::string()> Copy);

  static bool IsKnown(TSNorvMailContent const& Request);
  /// Throws TCException for a question that the sender may not ask or that there is none of.
  TSNorvMailContent Answer(TSNorvMailSender const& Sender, TSNorvMailContent const& Request) const;

 private:
  void RequireAllowed(TSNorvMailSender const& Sender, int Question) const;

  TCConfiguration const& m_Configuration;
  std::function<TCStatus()> const m_Status;
  std::function<std::string()> const m_Copy;
};

}  // namespace Property
