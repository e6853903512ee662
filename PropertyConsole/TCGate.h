// SPDX-License-Identifier: MIT
// Who may pass to which route.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TCSessions.h"
#include "PropertyConsole/TCUsers.h"
#include "PropertyConsole/TSRequest.h"

namespace Property {

/// Looks at the head of a request: whether it is meant for this console, comes from a page of this
/// console, belongs to somebody who has signed in and whose role is enough. Synchronised.
class TCGate {
 public:
  /// `Names` are those of this host. With `IsEncrypted`, the cookie never leaves encryption.
  TCGate(std::vector<std::string> Names, bool IsEncrypted, TCSessions& Sessions, TCUsers& Users);

  /// The refusal of a request that may not pass; of one that may, `Session` and `Token` are set
  /// where the route needs them.
  std::optional<TSAnswer> Refuse(TSRequest const& Request, TSRoute const& Route, TSSession& Session,
                                 std::string& Token) const;
  /// The refusal of a request for another host: a page of somebody else may have given its own name
  /// this machine's address.
  std::optional<TSAnswer> RefuseHost(TSRequest const& Request) const;

  /// Whether the session of the token still is open and its user has that role; no use of it.
  bool IsIn(std::string const& Token, TERole Role) const;

  /// What has the browser keep the token, or forget it where it is empty.
  std::string CookieOf(std::string const& Token) const;

 private:
  std::optional<TSAnswer> RefuseWriting(TSRequest const& Request) const;
  bool IsUnchanged(TSSession const& Session) const;
  std::string TokenIn(TSRequest const& Request) const;

  std::vector<std::string> const m_Names;
  bool const m_IsEncrypted;
  TCSessions& m_Sessions;
  TCUsers& m_Users;
};

}  // namespace Property
