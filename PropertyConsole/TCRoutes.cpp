// SPDX-License-Identifier: MIT
// Compares paths part by part.
#include "PropertyConsole/TCRoutes.h"

#include <algorithm>
#include <string_view>

namespace Property {
namespace {

// Takes the part up to the next slash off the path.
std::string_view TakePart(std::string_view& Path) {
  std::size_t const End = std::min(Path.find('/'), Path.size());
  std::string_view const Part = Path.substr(0, End);
  Path.remove_prefix(std::min(End + 1, Path.size()));
  return Part;
}

bool FitsPath(std::string_view Pattern, std::string_view Path,
              std::map<std::string, std::string>& Parameters) {
  if (std::count(Pattern.begin(), Pattern.end(), '/') !=
      std::count(Path.begin(), Path.end(), '/')) {
    return false;
  }
  while (!Pattern.empty()) {
    std::string_view const Wanted = TakePart(Pattern);
    std::string_view const Given = TakePart(Path);
    if (!Wanted.empty() && Wanted.front() == '{' && !Given.empty()) {
      Parameters[std::string(Wanted.substr(1, Wanted.size() - 2))] = Given;
    } else if (Wanted != Given) {
      return false;
    }
  }
  return Path.empty();
}

}  // namespace

TCRoutes::TSMatch TCRoutes::Find(std::string const& Method, std::string const& Path) const {
  std::string const Wanted = Method == "HEAD" ? "GET" : Method;
  TSMatch Match;
  for (TSRoute const& Route : m_Routes) {
    std::map<std::string, std::string> Parameters;
    if (!FitsPath(Route.Path, Path, Parameters)) {
      continue;
    }
    Match.Methods += (Match.Methods.empty() ? "" : ", ") + Route.Method;
    if (Route.Method == Wanted) {
      Match.Route = &Route;
      Match.Parameters = std::move(Parameters);
    }
  }
  return Match;
}

}  // namespace Property
