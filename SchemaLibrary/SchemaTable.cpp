// SPDX-License-Identifier: MIT
// Writes the fields of the schema as a table.
#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyChoice.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TextConversions.h"
#include "Platform/Utility/UTF8.h"
#include "SchemaLibrary/SchemaExport.h"
#include "SchemaLibrary/TCPropertyNames.h"

namespace Property {

namespace {

constexpr std::size_t kColumns = 7;
using TTableRow = std::array<std::string, kColumns>;

std::size_t Width(std::string const& Text) {
  return static_cast<std::size_t>(
      std::count_if(Text.begin(), Text.end(), [](char Byte) { return !IsContinuation(Byte); }));
}

std::string Values(TCPropertyID const& Field) {
  if (Field.get_Type() != eComboField) {
    return Field.get_Regex();
  }
  std::string Text;
  for (TCPropertyChoice const* Choice : Field.get_Choices()) {
    Text += (Text.empty() ? "" : ", ") + Choice->get_Value() + "=" + ToString(Choice->get_Number());
  }
  return Text;
}

std::string Default(TCPropertyID const& Field) {
  if (Field.get_Type() != eComboField) {
    return Field.get_DefaultValue().get_Value();
  }
  TCPropertyChoice const* const Choice = Field.GetDefaultChoice(false);
  return Choice != nullptr ? Choice->get_Value() : std::string();
}

char const* Level(TCPropertyID const& Field) {
  constexpr std::array<char const*, 3> kLevels = {"hidden", "normal", "advanced"};
  return kLevels.at(static_cast<std::size_t>(TCPropertyID::Find(Field.get_Number())->GetShow()));
}

TTableRow RowOf(TCPropertyID const& Field, TCPropertyNames const& Names) {
  TTableRow Row = {ToString(Field.get_Number()),
                   Names.Path(Field),
                   FieldTypeWord(Field),
                   Default(Field),
                   Level(Field),
                   Values(Field),
                   Field.get_Description()};
  std::transform(Row.begin(), Row.end(), Row.begin(),
                 [](std::string const& Text) { return PrintableText(Text); });
  return Row;
}

}  // namespace

std::string ExportSchemaAsTable() {
  TCPropertyNames const Names;
  std::vector<TTableRow> Rows = {
      {"NUMBER", "PATH", "TYPE", "DEFAULT", "LEVEL", "VALUES", "DESCRIPTION"}};
  std::transform(Names.get_Fields().begin(), Names.get_Fields().end(), std::back_inserter(Rows),
                 [&](TCPropertyID const* Field) { return RowOf(*Field, Names); });
  std::array<std::size_t, kColumns> Widths = {};
  for (TTableRow const& Row : Rows) {
    for (std::size_t Column = 0; Column < kColumns; ++Column) {
      Widths[Column] = std::max(Widths[Column], Width(Row[Column]));
    }
  }
  std::string Text;
  for (TTableRow const& Row : Rows) {
    for (std::size_t Column = 0; Column < kColumns; ++Column) {
      Text += Row[Column];
      Text.append(Column + 1 < kColumns ? Widths[Column] - Width(Row[Column]) + 2 : 0, ' ');
    }
    Text.erase(Text.find_last_not_of(' ') + 1);
    Text += '\n';
  }
  return Text;
}

}  // namespace Property
