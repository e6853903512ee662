// SPDX-License-Identifier: MIT
// What a browser asks, and what it is answered.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Property {

class TCTransport;

/// A request, of which nothing is believed. `Body` is empty while only the head is looked at.
struct TSRequest {
  std::string Method;
  std::string Path;  ///< decoded, without the query
  std::map<std::string, std::string> Query;
  std::multimap<std::string, std::string> Headers;  ///< by name in small letters
  std::string Body;
  std::string Peer;  ///< its address

  /// The header's value: "" where it is missing.
  std::string Header(std::string const& Name) const {
    auto const Found = Headers.find(Name);
    return Found != Headers.end() ? Found->second : std::string();
  }
};

struct TSAnswer {
  int Status = 200;
  std::string Body;
  std::string ContentType = "application/json";
  std::vector<std::pair<std::string, std::string>> Headers;
  /// Where it is set: takes the connection over when the head has been sent, in place of a body.
  std::function<void(std::unique_ptr<TCTransport>)> Continue;
};

}  // namespace Property
