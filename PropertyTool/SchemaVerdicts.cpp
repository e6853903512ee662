// SPDX-License-Identifier: MIT
// Reads the server's list of libraries.
#include "PropertyTool/SchemaVerdicts.h"

#include "Platform/Utility/TextConversions.h"
#include "PropertyTool/ControlMails.h"
#include "ServerClient/TCServerFailure.h"

namespace Property {
namespace {

long long NumberIn(TCNorvField const& Field) {
  bool OK = false;
  long long const Number = StringToBigInt(Field.get_AsString(), OK);
  return OK ? Number : 0;
}

TSSchemaLibrary LibraryIn(TCControlRecord const& Record) {
  TSSchemaLibrary Library;
  Library.File = Record.m_Path.get_AsString();
  Library.Device = static_cast<unsigned long long>(NumberIn(Record.m_Device));
  Library.Inode = static_cast<unsigned long long>(NumberIn(Record.m_Inode));
  Library.Changed = NumberIn(Record.m_Time);
  Library.Size = NumberIn(Record.m_Size);
  Library.Loaded = Record.m_Held.get_AsBool();
  Library.Tried = Library.Loaded || Record.m_Refused.get_AsBool();
  Library.Reason = Record.m_Text.get_AsString();
  return Library;
}

}  // namespace

std::vector<TSSchemaLibrary> AskForVerdicts(TCServerConnection& Server) {
  std::vector<TSSchemaLibrary> Libraries;
  try {
    if (Server.IsThere()) {
      TCControlMail Mail(Norv_ControlMail, PropertyControl::kSchemas.Type,
                         PropertyControl::kSchemas.Name);
      Server.Ask(Mail);
      for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
        Libraries.push_back(LibraryIn(Mail.GetMailRecord(Index)->get_Record()));
      }
    }
  } catch (TCServerFailure const&) {
    Libraries.clear();  // not everybody may ask
  }
  return Libraries;
}

}  // namespace Property
