// SPDX-License-Identifier: MIT
// Finds properties by the schema and their values in memory.
#include "PropertyServer/TCFindRequests.h"

#include <optional>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "SchemaLibrary/TCValueRules.h"
#include "SchemaLibrary/TSCurrentValue.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCFindRequests";

using PropertyControl::kFind;
using PropertyControl::kMostFound;

constexpr std::size_t kMostFoundTexts = std::size_t{64} << 20;  // bytes of an answer

}  // namespace

// What was meant, or why nothing is told.
struct TCFindRequests::TSFound {
  int Number = 0;
  TCPropertyID const* Field = nullptr;  // null where no schema knows the number
  Accessories::TCRecordID Link;
  TCMACAddress MAC;
  bool WithSecrets = false;
  std::string Refusal;

  TCPropertyPlace get_Place() const { return TCPropertyPlace(Number, Link, MAC); }
};

// A name takes looking through the whole schema.
void TCFindRequests::CheckNames(TCControlReader& Reader) {
  if (Reader.get_Count() > kMostFound) {
    throw TCException(kSource, __LINE__)
        .Format("%d properties are asked for, at most %d are found at once", Reader.get_Count(),
                kMostFound);
  }
  for (int Index = 0; Index < Reader.get_Count(); ++Index) {
    TCRecord const& Asked = Reader.Read(Index);
    if (Asked.m_ID.IsAssigned() == Asked.m_Text.IsAssigned()) {
      throw TCException(kSource, __LINE__)
          .Format("Malformed mail: a property is asked for by its number or by a text");
    }
  }
}

TSNorvMailContent TCFindRequests::Answer(TSNorvMailSender const& Sender,
                                         TSNorvMailContent const& Request) const {
  TCControlReader Reader(Request);
  CheckNames(Reader);
  TCControlWriter Writer;
  std::size_t Texts = 0;
  for (int Index = 0; Index < Reader.get_Count(); ++Index) {
    TCRecord const& Asked = Reader.Read(Index);
    if (Asked.m_Text.IsAssigned() && !HasSchema()) {
      return TCControlWriter().Finish(kFind.Name);
    }
    Texts += Write(Find(Sender, Asked), Writer);
    if (Texts > kMostFoundTexts && Reader.get_Count() > 1) {
      throw TCException(kSource, __LINE__)
          .Format("the values have more than %zu MiB together; ask for fewer at once",
                  kMostFoundTexts >> 20U);
    }
  }
  return Writer.Finish(kFind.Name);
}

TCFindRequests::TSFound TCFindRequests::Find(TSNorvMailSender const& Sender,
                                             TCRecord const& Asked) const {
  TSFound Found;
  Found.Link = TCControlReader::LinkIn(Asked.m_Link).value_or(Accessories::TCRecordID());
  Found.WithSecrets = Asked.m_Secret.get_AsBool();
  FindProperty(Asked, Found);
  if (Found.Refusal.empty()) {
    CheckRights(Sender, Found);
  }
  if (auto const Device = TCControlReader::MACIn(Asked.m_MAC)) {
    Found.MAC = *Device;
  } else if (Found.Field != nullptr && IsOfDevices(*Found.Field)) {
    Found.MAC = Sender.Device;
  }
  return Found;
}

void TCFindRequests::FindProperty(TCRecord const& Asked, TSFound& Found) const {
  if (Asked.m_ID.IsAssigned()) {
    std::string Reason;
    Found.Number = Asked.m_ID;
    Found.Field = HasSchema() ? TCValueRules::FindField(Found.Number, Reason) : nullptr;
    return;
  }
  TSNamedProperty const Named = m_Schema->Resolve(Asked.m_Text.get_AsString());
  if (Named.Field == nullptr) {
    Found.Refusal = Named.Error;
    return;
  }
  Found.Field = Named.Field;
  Found.Number = Named.Field->get_Number();
  if (Named.HasLink) {
    Found.Link = Named.Link;
  }
}

// Of values nothing is told, not even whether there is one: the rules are by number.
void TCFindRequests::CheckRights(TSNorvMailSender const& Sender, TSFound& Found) const {
  if (!m_Configuration->MayRead(Sender, Found.Number)) {
    Found.Refusal = "user " + std::to_string(Sender.User) + " may not read " +
                    (Found.Field != nullptr ? PrintableText(m_Schema->PathOf(*Found.Field))
                                            : "property " + std::to_string(Found.Number));
  }
}

std::size_t TCFindRequests::Write(TSFound const& Found, TCControlWriter& Writer) const {
  TCRecord& Record = Writer.Begin();
  std::size_t Size = 0;
  if (!Found.Refusal.empty()) {
    Record.m_Refused.set_AsBool(true);
    Record.m_Text.set_AsString(Found.Refusal);
  } else {
    Writer.PutPlace(Found.get_Place());
    if (Found.Field != nullptr) {
      Record.m_Path.set_AsString(m_Schema->PathOf(*Found.Field));
    }
    Size = WriteValue(Found, Record);
  }
  Writer.Append();
  return Size;
}

std::size_t TCFindRequests::WriteValue(TSFound const& Found, TCRecord& Record) const {
  std::string const* const Stored =
      m_Values.IsOrphan(Found.Number) ? nullptr : m_Values.Find(Found.get_Place());
  bool const Secret = m_Configuration->IsSecret(Found.Number);
  TSCurrentValue const Current =
      CurrentOf(Found.Field, Stored != nullptr ? std::optional(*Stored) : std::nullopt);
  Record.m_Held.set_AsBool(Current.Data && !Current.IsDefault);
  Record.m_Secret.set_AsBool(Secret);
  if (!Current.Data || (Secret && !Found.WithSecrets)) {
    return 0;
  }
  Record.m_Data.set_AsString(*Current.Data);
  std::size_t Size = Current.Data->size();
  if (Found.Field != nullptr) {
    std::string const Text = TCValueRules::TextForPeople(*Found.Field, *Current.Data);
    if (Text != *Current.Data) {
      Record.m_Text.set_AsString(Text);
      Size += Text.size();
    }
  }
  return Size;
}

}  // namespace Property
