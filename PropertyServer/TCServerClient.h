// SPDX-License-Identifier: MIT
// Asks a running property server about itself.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvServiceProxy.h"

namespace Property {

/// One connection to the server at an address. Every operation throws TCException, saying why and
/// what to do, when no server answers or it refuses.
class TCServerClient {
 public:
  explicit TCServerClient(std::string const& Address);

  /// Whether a server is there, even if it refuses. Waits for it for 1.5 seconds at most; not again
  /// when it has waited in vain.
  bool IsReached();
  /// Name and value of each figure.
  std::vector<std::pair<std::string, std::string>> Status();
  /// A copy of the database as it is now.
  std::string Backup();

 private:
  std::vector<std::pair<std::string, std::string>> Ask(int Signal);
  bool WaitForServer();
  void ThrowRefusal() const;

  std::string const m_Address;
  TCNorvServiceProxy m_Proxy;
  bool m_IsMissing = false;  // the server, when it was last waited for
};

}  // namespace Property
