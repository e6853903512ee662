// SPDX-License-Identifier: MIT
// Checks numbers and addresses of devices.
#include "PropertyConsole/QueryParts.h"

#include <charconv>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyConsole/JSONAnswers.h"

namespace Property {

std::optional<long long> ReadNumber(std::string const& Text) {
  long long Number = 0;
  auto const [End, Error] = std::from_chars(Text.data(), Text.data() + Text.size(), Number);
  bool const IsWhole = Error == std::errc() && End == Text.data() + Text.size();
  return IsWhole ? std::optional(Number) : std::nullopt;
}

TCQueryParts::TCQueryParts(TSRequest const& Request, std::set<std::string> const& Known)
    : m_Request(Request) {
  for (auto const& [Name, Value] : Request.Query) {
    if (Known.count(Name) == 0) {
      Refuse("The query has no part " + PrintableLine(Name) + ".");
    }
  }
}

std::optional<long long> TCQueryParts::Number(std::string const& Name, long long Least,
                                              long long Most) {
  auto const Found = m_Request.Query.find(Name);
  if (Found == m_Request.Query.end()) {
    return std::nullopt;
  }
  auto const Number = ReadNumber(Found->second);
  if (!Number || *Number < Least || *Number > Most) {
    Refuse("The query's " + Name + " has to be a number from " + std::to_string(Least) + " to " +
           std::to_string(Most) + ".");
    return std::nullopt;
  }
  return Number;
}

std::string TCQueryParts::Device(std::string const& Name) {
  auto const Found = m_Request.Query.find(Name);
  if (Found == m_Request.Query.end()) {
    return std::string();
  }
  TCMACAddress const MAC(Found->second);
  if (MAC.Empty()) {
    Refuse("The query's " + Name + " has to be an address as 02:00:00:00:00:01.");
  }
  return MAC.get_AsString(':');
}

void TCQueryParts::Refuse(std::string const& Message) {
  if (!m_Problem) {
    m_Problem = ProblemAnswer(400, "bad_query", Message);
  }
}

}  // namespace Property
