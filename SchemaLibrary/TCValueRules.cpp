// SPDX-License-Identifier: MIT
// Judges texts by type, choices and pattern, and reads what people type.
#include "SchemaLibrary/TCValueRules.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TextConversions.h"
#include "SchemaLibrary/ASCIICase.h"
#include "SchemaLibrary/TCValuePattern.h"

namespace Property {

namespace {

constexpr std::size_t kLongestShown = 64;    // bytes of a value in a reason
constexpr std::size_t kMostChoices = 12;     // that a reason lists
constexpr std::size_t kMostPatterns = 4096;  // that are kept

std::string Shown(std::string_view Text, bool Secret) {
  if (Secret) {
    return "this text";
  }
  std::string const Beginning = PrintableText(std::string(Text.substr(0, kLongestShown)));
  return "'" + Beginning + (Text.size() > kLongestShown ? "...'" : "'");
}

std::string ChoiceList(TCPropertyID const& Field) {
  std::string List;
  std::size_t Count = 0;
  for (TCPropertyChoice const* Choice : Field.get_Choices()) {
    if (++Count <= kMostChoices) {
      List += (Count > 1 ? ", " : "") + PrintableText(Choice->get_Name()) + " (" +
              ToString(Choice->get_Number()) + ")";
    }
  }
  if (Count > kMostChoices) {
    List += " and " + std::to_string(Count - kMostChoices) + " more";
  }
  return List;
}

std::string NoChoice(TCPropertyID const& Field, std::string const& Text, bool Secret) {
  return Shown(Text, Secret) + " is no choice; there are " + ChoiceList(Field);
}

bool IsNumber(std::string const& Text) {
  bool OK = false;
  StringToLong(Text, OK);
  return OK;
}

// Numbers are stored without sign and zeros before them: they are compared as texts.
bool IsChoice(TCPropertyID const& Field, std::string const& Text) {
  auto const& Choices = Field.get_Choices();
  return std::any_of(Choices.begin(), Choices.end(), [&](TCPropertyChoice const* Choice) {
    return ToString(Choice->get_Number()) == Text;
  });
}

std::string ReasonAgainstType(TCPropertyID const& Field, std::string const& Data, bool Secret) {
  switch (Field.get_Type()) {
    case eComboField:
      return IsChoice(Field, Data) ? std::string() : NoChoice(Field, Data, Secret);
    case eIntegerField:
      return IsNumber(Data)
                 ? std::string()
                 : Shown(Data, Secret) + " is no whole number from -2147483648 to 2147483647";
    case eBooleanField:
      return Data == "0" || Data == "1" ? std::string()
                                        : Shown(Data, Secret) + " is neither 0 nor 1";
    default:
      return std::string();
  }
}

// ---- what people type ----

TCPropertyChoice const* FindTypedChoice(TCPropertyID const& Field, std::string const& Typed) {
  auto const Find = [&](auto const& TextOf, bool AnyCase) -> TCPropertyChoice const* {
    auto const& Choices = Field.get_Choices();
    auto const Itr = std::find_if(Choices.begin(), Choices.end(), [&](auto const* Choice) {
      return IsSameText(TextOf(*Choice), Typed, AnyCase);
    });
    return Itr != Choices.end() ? *Itr : nullptr;
  };
  auto const Value = [](TCPropertyChoice const& Choice) { return Choice.get_Value(); };
  auto const Number = [](TCPropertyChoice const& Choice) { return ToString(Choice.get_Number()); };
  auto const Name = [](TCPropertyChoice const& Choice) { return Choice.get_Name(); };
  auto const Text = [](TCPropertyChoice const& Choice) { return Choice.get_Description(); };
  for (bool const AnyCase : {false, true}) {
    TCPropertyChoice const* Found = Find(Value, AnyCase);
    Found = Found != nullptr ? Found : Find(Number, AnyCase);
    Found = Found != nullptr ? Found : Find(Name, AnyCase);
    Found = Found != nullptr ? Found : Find(Text, AnyCase);
    if (Found != nullptr) {
      return Found;
    }
  }
  return nullptr;
}

bool IsOneOf(std::string const& Typed, std::initializer_list<char const*> Words) {
  return std::any_of(Words.begin(), Words.end(),
                     [&](char const* Word) { return IsSameText(Typed, Word, true); });
}

TCValueRules::TSTyped ReadChoice(TCPropertyID const& Field, std::string const& Typed, bool Secret) {
  TCPropertyChoice const* const Choice = FindTypedChoice(Field, Typed);
  if (Choice == nullptr) {
    return {{}, NoChoice(Field, Typed, Secret)};
  }
  return {ToString(Choice->get_Number()), {}};
}

TCValueRules::TSTyped ReadBoolean(std::string const& Typed, bool Secret) {
  if (IsOneOf(Typed, {"1", "true", "yes", "on"})) {
    return {"1", {}};
  }
  if (IsOneOf(Typed, {"0", "false", "no", "off"})) {
    return {"0", {}};
  }
  return {{}, Shown(Typed, Secret) + " is neither true nor false"};
}

std::string WithoutZeros(std::string const& Typed) {
  bool OK = false;
  long const Number = StringToLong(Typed, OK);
  return OK ? ToString(static_cast<int>(Number)) : Typed;
}

}  // namespace

TCValueRules::TCValueRules() = default;
TCValueRules::~TCValueRules() = default;

TCPropertyID const* TCValueRules::FindField(int Number, std::string& Reason) {
  TCBasicPropertyID const* const Node = TCBasicPropertyID::Find(Number);
  if (Node == nullptr || Node == &UnassignedProperty()) {
    Reason = "no property has the number " + ToString(Number);
    return nullptr;
  }
  auto const* const Field = dynamic_cast<TCPropertyID const*>(Node);
  if (Field == nullptr || !Node->IsPropertyField()) {
    Reason = ToString(Number) + " is no property but the " + LowerCase(Node->get_Typename()) + " " +
             PrintableText(Node->get_Name());
    return nullptr;
  }
  return Field;
}

std::string TCValueRules::ReasonAgainst(TCPropertyID const& Field, std::string const& Data,
                                        bool Secret) {
  if (Data.empty()) {
    return std::string();
  }
  std::string Reason = ReasonAgainstType(Field, Data, Secret);
  // A choice is its number, which no pattern is meant for.
  if (!Reason.empty() || Field.get_Type() == eComboField || Field.get_Regex().empty()) {
    return Reason;
  }
  if (Data.size() > TCValuePattern::kLongestText) {
    return "a text for a pattern may have " + std::to_string(TCValuePattern::kLongestText) +
           " bytes, and this one has " + std::to_string(Data.size());
  }
  if (!PatternOf(Field).Matches(Data)) {
    return Shown(Data, Secret) + " does not match the pattern " + PrintableText(Field.get_Regex());
  }
  return std::string();
}

TCValuePattern const& TCValueRules::PatternOf(TCPropertyID const& Field) {
  if (m_Patterns.size() >= kMostPatterns) {
    m_Patterns.clear();
  }
  auto& Pattern = m_Patterns[Field.get_Regex()];
  if (Pattern == nullptr) {
    Pattern = std::make_unique<TCValuePattern>(Field.get_Regex());
  }
  return *Pattern;
}

TCValueRules::TSTyped TCValueRules::Read(TCPropertyID const& Field, std::string const& Typed,
                                         bool Secret) {
  if (Typed.empty()) {
    return {};
  }
  TSTyped Result;
  switch (Field.get_Type()) {
    case eComboField:
      return ReadChoice(Field, Typed, Secret);
    case eBooleanField:
      Result = ReadBoolean(Typed, Secret);
      break;
    case eIntegerField:
      Result.Data = WithoutZeros(Typed);
      break;
    default:
      Result.Data = Typed;
  }
  if (Result.Reason.empty()) {
    Result.Reason = ReasonAgainst(Field, Result.Data, Secret);
  }
  return Result;
}

std::string TCValueRules::TextForPeople(TCPropertyID const& Field, std::string const& Data) {
  if (Field.get_Type() == eBooleanField && (Data == "0" || Data == "1")) {
    return Data == "1" ? "true" : "false";
  }
  if (Field.get_Type() == eComboField) {
    bool NotFound = false;
    TCPropertyChoice const* const Choice = Field.FindChoiceByID(ToIntDef(Data, 0), NotFound);
    if (!NotFound) {
      return Choice->get_Description();
    }
  }
  return Data;
}

}  // namespace Property
