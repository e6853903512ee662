// SPDX-License-Identifier: MIT
// Answers in JSON, and bodies of requests.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "PropertyConsole/TSRequest.h"

namespace Property {

/// What has gone wrong: {"code": ..., "message": ...}, the first for programs, the second a
/// sentence for people.
TSAnswer ProblemAnswer(int Status, std::string const& Code, std::string const& Message);

/// The problem of a status that tells everything by itself.
TSAnswer StatusAnswer(int Status);

/// Bytes that are no valid UTF-8 become the replacement character.
TSAnswer JSONAnswer(nlohmann::ordered_json const& Value);

/// The object that a request brings; none, and `Wrong` is set, when it brings something else.
std::optional<nlohmann::ordered_json> ReadObject(TSRequest const& Request, TSAnswer& Wrong);

/// The text member of an object; none when it is missing or no text.
std::optional<std::string> TextMember(nlohmann::ordered_json const& Object, char const* Name);

}  // namespace Property
