// SPDX-License-Identifier: MIT
// What the console answers at which address.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "PropertyConsole/TCSessions.h"
#include "PropertyConsole/TERole.h"
#include "PropertyConsole/TSRequest.h"

namespace Property {

/// A request that has passed all checks.
struct TSCall {
  TSRequest const& Request;
  std::map<std::string, std::string> Parameters;  ///< parts of the path, by their names
  TSSession Session;                              ///< of nobody on public routes
  std::string Token;                              ///< of the session
};

struct TSRoute {
  std::string Method;
  std::string Path;              ///< as "/api/v1/values/{number}"
  std::optional<TERole> Needed;  ///< none: also for who has not signed in
  std::function<TSAnswer(TSCall const&)> Handler;
  std::size_t MostBody = std::size_t{64} << 20;  ///< bytes, where the server allows them

  /// Whether it changes something.
  bool Writes() const { return Method != "GET"; }
};

/// Routes, made at the start and unchanging from then on, so that they may be read on several
/// threads.
class TCRoutes {
 public:
  struct TSMatch {
    TSRoute const* Route = nullptr;  ///< null: none with this method
    std::map<std::string, std::string> Parameters;
    std::string Methods;  ///< those that the path has, as "GET, POST"; empty for an unknown path
  };

  void Add(TSRoute Route) { m_Routes.push_back(std::move(Route)); }

  /// The route of a request; that of GET for the method HEAD.
  TSMatch Find(std::string const& Method, std::string const& Path) const;
  std::vector<TSRoute> const& get_All() const { return m_Routes; }

 private:
  std::vector<TSRoute> m_Routes;
};

}  // namespace Property
