// SPDX-License-Identifier: MIT
// Checks the body of a transaction, member by member.
#include "PropertyConsole/TSTransaction.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "Platform/Utility/TCMACAddress.h"
#include "PropertyConsole/JSONAnswers.h"

namespace Property {
namespace {

constexpr std::size_t kMostChanges = 1000;
constexpr int kLeastConfirmation = 10;  // seconds
constexpr int kMostConfirmation = 3600;
constexpr char kBadChange[] = "bad_change";

/// Why a body is none, for who has sent it.
struct TSBadBody {
  std::string Code;
  std::string Message;
};

using TCBody = nlohmann::ordered_json;

void RequireKnown(TCBody const& Object, std::initializer_list<char const*> Names,
                  char const* Code) {
  for (auto const& Member : Object.items()) {
    if (std::find(Names.begin(), Names.end(), Member.key()) == Names.end()) {
      throw TSBadBody{Code, "There is a member that is not known."};
    }
  }
}

// Null where it is missing or null.
std::optional<int> NumberIn(TCBody const& Object, char const* Name, int Least, int Most,
                            char const* Code) {
  auto const Member = Object.find(Name);
  if (Member == Object.end() || Member->is_null()) {
    return std::nullopt;
  }
  bool const IsSmall = Member->is_number_integer() &&
                       (!Member->is_number_unsigned() ||
                        Member->get<std::uint64_t>() <= std::numeric_limits<int>::max());
  if (!IsSmall || Member->get<std::int64_t>() < Least || Member->get<std::int64_t>() > Most) {
    throw TSBadBody{Code, std::string("The member ") + Name + " has to be a number from " +
                              std::to_string(Least) + " to " + std::to_string(Most) + "."};
  }
  return Member->get<int>();
}

TSWantedChange ReadChange(TCBody const& Object) {
  if (!Object.is_object()) {
    throw TSBadBody{kBadChange, "Each change has to be an object."};
  }
  RequireKnown(Object, {"number", "record", "value", "reset"}, kBadChange);
  TSWantedChange Change;
  auto const Number = NumberIn(Object, "number", 1, std::numeric_limits<int>::max(), kBadChange);
  if (!Number) {
    throw TSBadBody{kBadChange, "Each change needs a number."};
  }
  Change.Number = *Number;
  Change.Record = NumberIn(Object, "record", std::numeric_limits<int>::min(),
                           std::numeric_limits<int>::max(), kBadChange);
  Change.Data = TextMember(Object, "value");
  bool const IsReset = Object.contains("reset") && Object.at("reset") == true;
  bool const HasBoth = Object.contains("value") && Object.contains("reset");
  if (HasBoth || Change.Data.has_value() == IsReset) {
    throw TSBadBody{kBadChange, "Each change needs a text as value, or true as reset."};
  }
  return Change;
}

std::vector<TSWantedChange> ReadChanges(TCBody const& Body) {
  auto const List = Body.find("changes");
  if (List == Body.end() || !List->is_array() || List->empty() || List->size() > kMostChanges) {
    throw TSBadBody{kBadChange, "The member changes has to be a list of 1 to " +
                                    std::to_string(kMostChanges) + " changes."};
  }
  std::vector<TSWantedChange> Changes;
  std::set<std::pair<int, std::optional<int>>> Places;
  for (TCBody const& Object : *List) {
    Changes.push_back(ReadChange(Object));
    if (!Places.emplace(Changes.back().Number, Changes.back().Record).second) {
      throw TSBadBody{kBadChange, "A transaction changes each value once."};
    }
  }
  return Changes;
}

std::string ReadDevice(TCBody const& Body) {
  auto const Member = Body.find("device");
  if (Member == Body.end() || Member->is_null()) {
    return std::string();
  }
  TCMACAddress const Device(Member->is_string() ? Member->get<std::string>() : std::string());
  if (Device.Empty()) {
    throw TSBadBody{"bad_transaction",
                    "The member device has to be null or an address as 02:00:00:00:00:01."};
  }
  return Device.get_AsString(':');
}

}  // namespace

std::optional<TSTransaction> ReadTransaction(TSRequest const& Request, TSAnswer& Wrong) {
  auto const Body = ReadObject(Request, Wrong);
  if (!Body) {
    return std::nullopt;
  }
  constexpr char kBadTransaction[] = "bad_transaction";
  try {
    RequireKnown(*Body, {"device", "revision", "changes", "confirm_within"}, kBadTransaction);
    auto const Revision = TextMember(*Body, "revision");
    if (!Revision) {
      throw TSBadBody{kBadTransaction, "The member revision has to be a text."};
    }
    return TSTransaction{
        ReadDevice(*Body), *Revision, ReadChanges(*Body),
        NumberIn(*Body, "confirm_within", kLeastConfirmation, kMostConfirmation, kBadTransaction)};
  } catch (TSBadBody const& Bad) {
    Wrong = ProblemAnswer(400, Bad.Code, Bad.Message);
    return std::nullopt;
  }
}

}  // namespace Property
