// SPDX-License-Identifier: MIT
// Writes and reads JSON.
#include "PropertyConsole/JSONAnswers.h"

#include <nlohmann/json.hpp>
#include <string_view>

#include "Platform/Utility/UTF8.h"

namespace Property {
namespace {

struct TSStatusText {
  int Status;
  char const* Code;
  char const* Message;
};

bool IsUTF8Text(std::string_view Text) {
  while (!Text.empty()) {
    std::size_t const Length = SequenceLength(Text);
    if (Length == 0) {
      return false;
    }
    Text.remove_prefix(Length);
  }
  return true;
}

std::string HexadecimalText(std::string const& Bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string Text;
  for (char const Character : Bytes) {
    auto const Value = static_cast<unsigned char>(Character);
    Text += kDigits[Value >> 4U];
    Text += kDigits[Value & 0xfU];
  }
  return Text;
}

// What is read of nested lists takes far more memory than its text.
bool IsDeep(std::string const& Text) {
  constexpr int kDeepest = 16;
  int Depth = 0;
  bool IsInText = false;
  for (std::size_t Place = 0; Place < Text.size(); ++Place) {
    char const Letter = Text[Place];
    if (Letter == '"') {
      IsInText = !IsInText;
    } else if (IsInText) {
      Place += Letter == '\\' ? 1 : 0;
    } else if (Letter == '[' || Letter == '{') {
      ++Depth;
    } else if (Letter == ']' || Letter == '}') {
      --Depth;
    }
    if (Depth > kDeepest) {
      return true;
    }
  }
  return false;
}

constexpr TSStatusText kStatusTexts[] = {
    {400, "bad_request", "The request is none that can be understood."},
    {404, "not_found", "There is nothing at this address."},
    {408, "too_slow", "The request took too long to arrive."},
    {411, "length_required", "A body is needed, unpacked and with its length given before it."},
    {413, "too_large", "The request brings more than is allowed."},
    {414, "address_too_long", "The address is longer than is allowed."},
    {416, "no_ranges", "Parts of an answer cannot be asked for."},
    {431, "head_too_large", "The head of the request is larger than is allowed."},
    {500, "internal", "The console has failed at this; its log says why."},
    {503, "busy", "The console has no room for more at the moment."},
};

}  // namespace

TSAnswer ProblemAnswer(int Status, std::string const& Code, std::string const& Message) {
  TSAnswer Answer = JSONAnswer({{"code", Code}, {"message", Message}});
  Answer.Status = Status;
  return Answer;
}

TSAnswer StatusAnswer(int Status) {
  for (TSStatusText const& Known : kStatusTexts) {
    if (Known.Status == Status) {
      return ProblemAnswer(Status, Known.Code, Known.Message);
    }
  }
  return ProblemAnswer(Status, "refused", "The request is refused.");
}

TSAnswer JSONAnswer(nlohmann::ordered_json const& Value) {
  TSAnswer Answer;
  Answer.Body = Value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return Answer;
}

void SetText(nlohmann::ordered_json& Object, std::string const& Name,
             std::optional<std::string> const& Text) {
  if (!Text) {
    Object[Name] = nullptr;
  } else if (IsUTF8Text(*Text)) {
    Object[Name] = *Text;
  } else {
    Object[Name + "_hex"] = HexadecimalText(*Text);
  }
}

TSAnswer ServerProblem(TCServerFailure const& Failure) {
  switch (Failure.get_Kind()) {
    case TEServerFailure::eRefused:
      return ProblemAnswer(502, "server_refuses",
                           "The property server does not let the console ask this.");
    case TEServerFailure::eTimeOut:
      return ProblemAnswer(504, "server_slow",
                           "The property server has not answered in time; a change that was asked "
                           "for may still be made.");
    default:
      return ProblemAnswer(503, "no_server", "The property server cannot be reached.");
  }
}

std::optional<nlohmann::ordered_json> ReadObject(TSRequest const& Request, TSAnswer& Wrong) {
  auto Object = IsDeep(Request.Body) ? nlohmann::ordered_json()
                                     : nlohmann::ordered_json::parse(Request.Body, nullptr, false);
  if (!Object.is_object()) {
    Wrong = ProblemAnswer(400, "no_json", "The request has to bring a JSON object.");
    return std::nullopt;
  }
  return Object;
}

std::optional<std::string> TextMember(nlohmann::ordered_json const& Object, char const* Name) {
  auto const Member = Object.find(Name);
  return Member != Object.end() && Member->is_string() ? std::optional(Member->get<std::string>())
                                                       : std::nullopt;
}

}  // namespace Property
