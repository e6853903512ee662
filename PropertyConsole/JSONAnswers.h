// SPDX-License-Identifier: MIT
// Answers in JSON, and bodies of requests.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "PropertyConsole/TSRequest.h"
#include "ServerClient/TCServerFailure.h"

namespace Property {

/// What has gone wrong: {"code": ..., "message": ...}, the first for programs, the second a
/// sentence for people.
TSAnswer ProblemAnswer(int Status, std::string const& Code, std::string const& Message);

/// The problem of a status that tells everything by itself.
TSAnswer StatusAnswer(int Status);

/// Bytes that are no valid UTF-8 become the replacement character.
TSAnswer JSONAnswer(nlohmann::ordered_json const& Value);

/// Sets the member to the text, or to null where there is none. A text that is no valid UTF-8 goes
/// into the member `Name`_hex instead, two digits a byte.
void SetText(nlohmann::ordered_json& Object, std::string const& Name,
             std::optional<std::string> const& Text);

/// The problem of a server that gives no answer.
TSAnswer ServerProblem(TCServerFailure const& Failure);

/// The object that a request brings; none, and `Wrong` is set, when it brings something else.
std::optional<nlohmann::ordered_json> ReadObject(TSRequest const& Request, TSAnswer& Wrong);

/// The text member of an object; none when it is missing or no text.
std::optional<std::string> TextMember(nlohmann::ordered_json const& Object, char const* Name);

}  // namespace Property
