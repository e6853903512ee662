// SPDX-License-Identifier: MIT
// Which properties' texts are not shown.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "ServerClient/TCServerConnection.h"

namespace Property {

/// What stands in place of a secret's text, for people.
constexpr char kSecretMask[] = "(secret)";

/// The server's list of secrets, asked for when it is first needed. Not synchronised.
class TCSecrets {
 public:
  /// With `Shown` nothing counts as a secret.
  TCSecrets(TCServerConnection& Server, bool Shown) : m_Server(Server), m_Shown(Shown) {}

  bool IsSecret(int Number);
  /// Nothing counts as a secret from now on.
  void ShowAll() { m_Shown = true; }

 private:
  void Ask();

  TCServerConnection& m_Server;
  bool m_Shown;
  std::optional<std::vector<std::pair<int, int>>> m_Ranges;  // first and last number of each
};

}  // namespace Property
