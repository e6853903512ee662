// SPDX-License-Identifier: MIT
// Any bytes are a frame or are refused, with and without a memory file beside them. The first byte
// of the input says how many bytes are in that file, 0 for no file; they come next, and then the
// frame.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Messaging/Wire/Frame.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace {

void Require(bool Condition) {
  if (!Condition) {
    std::abort();
  }
}

TCFileDescriptor MemoryFile(std::string_view Content) {
  if (Content.empty()) {
    return {};
  }
  TCFileDescriptor File(memfd_create("fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  Require(write(File.get(), Content.data(), Content.size()) ==
          static_cast<ssize_t>(Content.size()));
  Require(fcntl(File.get(), F_ADD_SEALS,
                F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) == 0);
  return File;
}

void Walk(TSNorvMailContent const& Mail) {
  Require(Mail.Body != nullptr);
  for (int Index = 0; Index < Mail.Body->get_Count(); ++Index) {
    TCNorvRecordCursor Cursor(Mail.Body->get_Signature(), Mail.Body->get_Record(Index));
    TSNorvFieldValue Value;
    while (Cursor.Next(Value)) {
    }
  }
}

// What `Read` throws as it should says that it refuses.
template <class TRead>
void Try(TRead const& Read) {
  try {
    Read();
  } catch (TCException const&) {
  }
}

// A frame that is sound is written again as it was read, but for lengths beside a file.
void RequireSame(Wire::TCFrameView Frame, std::string_view Bytes) {
  TCNorvMailClassID const Class("fuzz", 1);
  Wire::TSFrameMail Mail;
  if (Frame.get_Head().HasFile || !Frame.Next(Mail)) {
    return;
  }
  Wire::TCFrame Again(Frame.get_Head(), Frame.Read(Mail, Class));
  if (Again.get_Body()) {
    return;  // more than would have been sent so
  }
  while (Frame.Next(Mail)) {
    TSNorvMailContent const Content = Frame.Read(Mail, Class);
    if (!Again.HasRoomFor(Content)) {
      return;
    }
    Again.Append(Content);
  }
  Require(Again.get_Bytes() == Bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* Data, std::size_t Size) {
  TCNorvMailClassID const Class("fuzz", 1);
  std::string_view Bytes(reinterpret_cast<char const*>(Data), Size);
  if (Bytes.empty()) {
    return 0;
  }
  std::size_t const Length =
      std::min<std::size_t>(static_cast<unsigned char>(Bytes.front()), Size - 1);
  TCFileDescriptor const File = MemoryFile(Bytes.substr(1, Length));
  Bytes.remove_prefix(1 + Length);
  Try([&] {
    Wire::TCFrameView Frame(Bytes, File.get());
    Try([&] { Walk(Frame.ReadOnly(Class)); });
    Try([&] { Wire::ReadTexts(Frame, 2); });
    Frame.RequireSound();
    Try([&] { RequireSame(Frame, Bytes); });
    std::size_t Count = 0;
    Wire::TSFrameMail Mail;
    for (; Frame.Next(Mail); ++Count) {
      Try([&] { Walk(Frame.Read(Mail, Class)); });
    }
    Require(Count == Frame.get_Count());
  });
  return 0;
}
