// SPDX-License-Identifier: MIT
// Asks the server for names, or for the numbers that they mean here.
#include "PropertyTool/FoundValues.h"

#include <algorithm>
#include <functional>

#include "Platform/Utility/TextConversions.h"
#include "PropertyTool/ControlMails.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

constexpr std::size_t kMostAtOnce = PropertyControl::kMostFound;

using TFill = std::function<void(std::size_t Index, TCControlRecord& Record)>;
using TTake = std::function<void(std::size_t Index, TCControlRecord const& Record)>;

// Asks for `Count` properties, as many at once as the server takes. False, with none taken, where
// the server has no schema to find them by.
bool Ask(TCToolContext& Context, std::size_t Count, TFill const& Fill, TTake const& Take) {
  for (std::size_t Begin = 0; Begin < Count; Begin += kMostAtOnce) {
    std::size_t const End = std::min(Count, Begin + kMostAtOnce);
    TCControlMail Mail(Norv_ControlMail, PropertyControl::kFind.Type, PropertyControl::kFind.Name);
    for (std::size_t Index = Begin; Index < End; ++Index) {
      TCControlRecord& Record = Mail.CreateRecord()->get_Record();
      Record.m_Secret.set_AsBool(Context.get_Options().ShowSecrets);
      Fill(Index, Record);
    }
    Context.get_Server().Ask(Mail);
    if (Mail.RecordCount() != static_cast<int>(End - Begin)) {
      return false;
    }
    for (std::size_t Index = Begin; Index < End; ++Index) {
      Take(Index, Mail.GetMailRecord(static_cast<int>(Index - Begin))->get_Record());
    }
  }
  return true;
}

void RequireFound(TCControlRecord const& Record) {
  if (Record.m_Refused.get_AsBool()) {
    throw TCToolFailure(TEExit::eRefused, Record.m_Text.get_AsString());
  }
}

std::optional<std::string> FieldText(TCNorvField const& Field) {
  return Field.IsAssigned() ? std::optional(Field.get_AsString()) : std::nullopt;
}

TSFoundValue FoundIn(TCToolContext& Context, TCControlRecord const& Record) {
  RequireFound(Record);
  TSFoundValue Found;
  Found.Place = PlaceOf(Record);
  Found.Path = FieldText(Record.m_Path);
  Found.IsSecret = Record.m_Secret.get_AsBool() && !Context.get_Options().ShowSecrets;
  Found.Value.Data = FieldText(Record.m_Data);
  Found.Value.IsDefault = Found.Value.Data && !Record.m_Held.get_AsBool();
  Found.Text = FieldText(Record.m_Text).value_or(Found.Value.Data.value_or(std::string()));
  return Found;
}

bool FindByServer(TCToolContext& Context, std::vector<std::string> const& Names,
                  TSPlaceOptions const& Options, std::vector<TSFoundValue>& All) {
  return Ask(
      Context, Names.size(),
      [&](std::size_t Index, TCControlRecord& Record) {
        Record.m_Text.set_AsString(Names[Index]);
        if (!Options.Link.empty()) {
          Record.m_Link.set_AsString(ToString(ToInt(Options.Link)));
        }
        if (!Options.MAC.empty()) {
          Record.m_MAC.set_AsString(TCNaming::DeviceOf(Options.MAC));
        }
      },
      [&](std::size_t /*Index*/, TCControlRecord const& Record) {
        All.push_back(FoundIn(Context, Record));
      });
}

// ---- by the names of this process ----

// Takes what is stored; what it means, the schema says that is loaded here.
TSFoundValue FoundAs(TCToolContext& Context, TSTarget const& Target, TSFoundValue const& Stored) {
  TSFoundValue Found;
  Found.Place = Stored.Place;
  Found.IsSecret = Stored.IsSecret;
  if (Target.Field != nullptr) {
    Found.Path = Context.get_Schema().Names().Path(*Target.Field);
  }
  Found.Value = Stored.Value;
  if (!Found.IsSecret) {
    bool const IsHeld = Stored.Value.Data && !Stored.Value.IsDefault;
    Found.Value = CurrentOf(Target.Field, IsHeld ? Stored.Value.Data : std::nullopt);
  }
  if (Found.Value.Data) {
    Found.Text = Context.get_Naming().TextOf(Found.Place.Number, *Found.Value.Data);
  }
  return Found;
}

std::vector<TSTarget> FindTargets(TCToolContext& Context, std::vector<std::string> const& Names,
                                  TSPlaceOptions const& Options) {
  std::vector<TSTarget> Targets;
  Targets.reserve(Names.size());
  for (std::string const& Name : Names) {
    Targets.push_back(Context.get_Naming().Find(Name, Options));
  }
  return Targets;
}

std::vector<TSFoundValue> FindByNumber(TCToolContext& Context,
                                       std::vector<TSTarget> const& Targets) {
  std::vector<TSFoundValue> All;
  bool const IsAnswered = Ask(
      Context, Targets.size(),
      [&](std::size_t Index, TCControlRecord& Record) { SetPlace(Record, Targets[Index].Place); },
      [&](std::size_t Index, TCControlRecord const& Record) {
        All.push_back(FoundAs(Context, Targets[Index], FoundIn(Context, Record)));
      });
  if (!IsAnswered) {
    throw TCToolFailure(TEExit::eRefused, "the property server does not find properties");
  }
  return All;
}

}  // namespace

std::vector<TSFoundValue> FindValues(TCToolContext& Context, std::vector<std::string> const& Names,
                                     TSPlaceOptions const& Options) {
  std::vector<TSFoundValue> All;
  if (!Context.get_Schema().AreNamed() && FindByServer(Context, Names, Options, All)) {
    return All;
  }
  std::vector<TSTarget> Targets = FindTargets(Context, Names, Options);
  for (TSTarget& Target : Targets) {
    if (Target.IsDeviceOpen) {
      AskForCurrent(Context, Target);  // says whose value is there
    }
  }
  return FindByNumber(Context, Targets);
}

}  // namespace Property
