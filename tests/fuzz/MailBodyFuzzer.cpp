// SPDX-License-Identifier: MIT
// Any sealed memory file holds the records of a mail or is refused; what it holds can be written
// again as it is. The input is the letters of the records' fields up to a zero byte, and the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace {

void Require(bool Condition) {
  if (!Condition) {
    std::abort();
  }
}

// The records, decoded and encoded again field by field.
void RequireSame(TCNorvMailBody const& Body) {
  TCNorvMailBody::TCWriter Writer(Body.get_Signature());
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    TCNorvRecordCursor Cursor(Body.get_Signature(), Body.get_Record(Index));
    Writer.BeginRecord(Cursor.get_AssignedMask());
    TSNorvFieldValue Value;
    while (Cursor.Next(Value)) {
      Writer.AppendField(Value);
    }
  }
  auto const Again = Writer.Finish();
  Require(Again->get_Count() == Body.get_Count());
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    Require(Again->get_Record(Index) == Body.get_Record(Index));
  }
}

void DecodeValues(TCNorvMailBody const& Body) {
  Property::TCNorvPropertyObject Object;
  if (Body.get_Signature() != Object.get_Record().get_Signature()) {
    return;
  }
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    Object.get_Record().Decode(Body.get_Record(Index));
    static_cast<void>(Object.get_Record().get_AsText());
    static_cast<void>(Object.get_Record().m_Link.get_AsRecordID());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* Data, std::size_t Size) {
  std::string_view Content(reinterpret_cast<char const*>(Data), Size);
  std::string_view const Fields = Content.substr(0, Content.find('\0'));
  Content.remove_prefix(std::min(Fields.size() + 1, Size));
  int const File = memfd_create("fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  Require(File >= 0 &&
          write(File, Content.data(), Content.size()) == static_cast<ssize_t>(Content.size()));
  Require(fcntl(File, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) == 0);
  try {
    auto const Body = TCNorvMailBody::FromMemoryFile(File, Fields);
    RequireSame(*Body);
    DecodeValues(*Body);
  } catch (TCException const&) {
    // refused
  }
  close(File);
  return 0;
}
