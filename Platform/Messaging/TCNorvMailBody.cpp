// SPDX-License-Identifier: MIT
// Encodes, validates and maps the records of mails.
#include "Platform/Messaging/TCNorvMailBody.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "Platform/Utility/LittleEndian.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvMailBody";
constexpr std::size_t kUsualSize = 120;  // of the records of a mail: one of a value, and its text
constexpr std::size_t kSpareLimit = 4096;
constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

[[noreturn]] void ThrowMalformed(int Line, char const* Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason);
}

void RequireKnownCodes(std::string_view Signature) {
  if (Signature.size() > TCNorvMailBody::kMaximumFields) {
    ThrowMalformed(__LINE__, "too many fields in a record");
  }
  if (!std::all_of(Signature.begin(), Signature.end(), [](char Code) {
        return Code == 'i' || Code == 's' || Code == 'b' || Code == 'v';
      })) {
    ThrowMalformed(__LINE__, "a field of an unknown type");
  }
}

void AppendWord(std::string& Bytes, std::uint32_t Word) {
  char Encoded[kWordSize];
  StoreWord(Encoded, Word);
  Bytes.append(Encoded, kWordSize);
}

// Walks one record so that every length and code in it is known to be good; returns what follows.
std::string_view SkipRecord(std::string_view Signature, std::string_view Bytes) {
  TCNorvRecordCursor Cursor(Signature, Bytes);
  TSNorvFieldValue Value;
  while (Cursor.Next(Value)) {
  }
  return Cursor.get_Rest();
}

void WriteAll(int File, std::string_view Bytes) {
  while (!Bytes.empty()) {
    ssize_t const Written = write(File, Bytes.data(), Bytes.size());
    if (Written < 0) {
      if (errno == EINTR) {
        continue;
      }
      throw TCException(kSource, __LINE__).Format("cannot fill a memory file: %s", strerror(errno));
    }
    Bytes.remove_prefix(static_cast<std::size_t>(Written));
  }
}

}  // namespace

TCNorvRecordCursor::TCNorvRecordCursor(std::string_view Signature, std::string_view Bytes)
    : m_Signature(Signature), m_Bytes(Bytes), m_Assigned(TakeWord()) {
  if (Signature.size() < TCNorvMailBody::kMaximumFields && (m_Assigned >> Signature.size()) != 0) {
    ThrowMalformed(__LINE__, "an assigned field that the record does not have");
  }
}

std::string_view TCNorvRecordCursor::Take(std::size_t Length) {
  if (Length > m_Bytes.size()) {
    ThrowMalformed(__LINE__, "a record ends early");
  }
  std::string_view const Taken = m_Bytes.substr(0, Length);
  m_Bytes.remove_prefix(Length);
  return Taken;
}

std::uint32_t TCNorvRecordCursor::TakeWord() {
  return LoadWord(Take(kWordSize).data());
}

bool TCNorvRecordCursor::Next(TSNorvFieldValue& Value) {
  if (m_Field == m_Signature.size()) {
    return false;
  }
  Value.Assigned = ((m_Assigned >> m_Field) & 1U) != 0;
  Value.Code = m_Signature[m_Field];
  Value.Integer = 0;
  Value.Text = std::string_view();
  ++m_Field;
  if (Value.Code == 'v') {
    Value.Code = Take(1).front();
  }
  switch (Value.Code) {
    case 'i':
      Value.Integer = static_cast<std::int32_t>(TakeWord());
      break;
    case 'b':
      Value.Integer = static_cast<unsigned char>(Take(1).front());
      if (Value.Integer > 1) {
        ThrowMalformed(__LINE__, "a boolean that is neither 0 nor 1");
      }
      break;
    case 's':
      Value.Text = Take(TakeWord());
      break;
    default:
      ThrowMalformed(__LINE__, "a field of an unknown type");
  }
  return true;
}

TCNorvMailBody::TCWriter::TCWriter(std::string_view Signature) : m_Signature(Signature) {
  RequireKnownCodes(m_Signature);
  m_Bytes.reserve(kUsualSize);
}

void TCNorvMailBody::TCWriter::AppendWord(std::uint32_t Word) {
  ::AppendWord(m_Bytes, Word);
}

void TCNorvMailBody::TCWriter::BeginRecord(std::uint32_t Assigned) {
  m_Places.Add(m_Bytes.size());
  m_Field = 0;
  AppendWord(Assigned);
}

void TCNorvMailBody::TCWriter::AppendField(TSNorvFieldValue const& Value) {
  char const Code = m_Signature.at(m_Field);
  ++m_Field;
  if (Code == 'v') {
    m_Bytes.push_back(Value.Code);
  } else if (Code != Value.Code) {
    ThrowMalformed(__LINE__, "a field of another type than its record declares");
  }
  switch (Value.Code) {
    case 'i':
      AppendWord(static_cast<std::uint32_t>(Value.Integer));
      break;
    case 'b':
      m_Bytes.push_back(Value.Integer != 0 ? '\1' : '\0');
      break;
    default:
      if (Value.Text.size() > kMaximumSize - m_Bytes.size()) {
        ThrowMalformed(__LINE__, "larger than a mail may be");
      }
      AppendWord(static_cast<std::uint32_t>(Value.Text.size()));
      m_Bytes.append(Value.Text);
      break;
  }
}

void TCNorvMailBody::TCWriter::AppendRecord(std::string_view Record) {
  m_Places.Add(m_Bytes.size());
  m_Bytes.append(Record);
}

std::shared_ptr<TCNorvMailBody const> TCNorvMailBody::TCWriter::Finish() {
  if (m_Bytes.capacity() - m_Bytes.size() > kSpareLimit) {
    m_Bytes.shrink_to_fit();  // it may be kept for long
  }
  return std::make_shared<TCNorvMailBody const>(TSMade(), m_Signature, std::move(m_Bytes),
                                                std::move(m_Places));
}

// A read-only view of a memory file, and the file where it is to be handed on.
class TCNorvMailBody::TCMapping {
 public:
  TCMapping(int File, std::size_t Size)
      : m_Address(mmap(nullptr, Size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, File, 0)),
        m_Size(Size) {
    if (m_Address == MAP_FAILED && errno == ENOMEM) {
      throw std::bad_alloc();  // no defect of the mail, which may come again
    }
    if (m_Address == MAP_FAILED) {
      throw TCException(kSource, __LINE__).Format("cannot map a memory file: %s", strerror(errno));
    }
  }
  TCMapping(TCMapping const&) = delete;
  TCMapping& operator=(TCMapping const&) = delete;
  ~TCMapping() { munmap(m_Address, m_Size); }

  std::string_view get_Bytes() const { return {static_cast<char const*>(m_Address), m_Size}; }
  void Keep(TCFileDescriptor File) { m_File = std::move(File); }
  int get_File() const { return m_File.get(); }

 private:
  void* m_Address;
  std::size_t m_Size;
  TCFileDescriptor m_File;
};

TCNorvMailBody::TCNorvMailBody(TSMade /*Made*/, std::string_view Signature, std::string Bytes,
                               TSPlaces Places)
    : m_Signature(Signature),
      m_Owned(std::move(Bytes)),
      m_Bytes(m_Owned),
      m_Places(std::move(Places)) {}

TCNorvMailBody::TCNorvMailBody(TSMade /*Made*/, std::string_view Signature,
                               std::unique_ptr<TCMapping> Mapping, TSPlaces Places)
    : m_Signature(Signature),
      m_Mapping(std::move(Mapping)),
      m_Bytes(m_Mapping->get_Bytes()),
      m_Places(std::move(Places)) {}

// Where each of the records begins, once all are known to be good and no more than `Most`.
TCNorvMailBody::TSPlaces TCNorvMailBody::FindRecords(std::string_view Signature,
                                                     std::string_view Bytes, std::size_t Most) {
  RequireKnownCodes(Signature);
  TSPlaces Places;
  for (std::string_view Rest = Bytes; !Rest.empty(); Rest = SkipRecord(Signature, Rest)) {
    RequireCount(Places.Count + 1, Most);
    Places.Add(Bytes.size() - Rest.size());
  }
  return Places;
}

TCNorvMailBody::~TCNorvMailBody() = default;

std::shared_ptr<TCNorvMailBody const> TCNorvMailBody::Empty() {
  static auto const& Body =  // in use until the process ends
      *new std::shared_ptr<TCNorvMailBody const>(TCWriter("").Finish());
  return Body;
}

std::shared_ptr<TCNorvMailBody const> TCNorvMailBody::Selected(TCNorvMailBody const& Body,
                                                               std::vector<bool> const& Taken) {
  TCWriter Writer(Body.m_Signature);
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    if (Taken[static_cast<std::size_t>(Index)]) {
      Writer.AppendRecord(Body.get_Record(Index));
    }
  }
  return Writer.Finish();
}

std::string_view TCNorvMailBody::get_Record(int Index) const {
  std::size_t const Place = static_cast<std::size_t>(Index);
  std::vector<std::size_t> const& Further = m_Places.Further;
  if (Place >= m_Places.Count) {
    throw std::out_of_range("a record that a mail does not have");
  }
  std::size_t const Begin = Place > 0 ? Further[Place - 1] : 0;
  std::size_t const End = Place < Further.size() ? Further[Place] : m_Bytes.size();
  return m_Bytes.substr(Begin, End - Begin);
}

void TCNorvMailBody::RequireCount(std::size_t Count, std::size_t Most) {
  if (Count > Most) {
    throw TCException(kSource, __LINE__, "Count<=Most")
        .Format("a mail has more than %zu records, the most that are allowed (mail_records)", Most);
  }
}

std::shared_ptr<TCNorvMailBody const> TCNorvMailBody::FromBytes(std::string_view Signature,
                                                                std::string_view Bytes,
                                                                std::size_t Count) {
  TSPlaces Places = FindRecords(Signature, Bytes, Count);
  return std::make_shared<TCNorvMailBody const>(TSMade(), Signature, std::string(Bytes),
                                                std::move(Places));
}

std::shared_ptr<TCNorvMailBody const> TCNorvMailBody::FromMemoryFile(int File,
                                                                     std::string_view Signature,
                                                                     std::size_t Limit,
                                                                     std::size_t Most) {
  int const Seals = fcntl(File, F_GET_SEALS);
  if (Seals < 0 || (Seals & kAllSeals) != kAllSeals) {
    ThrowMalformed(__LINE__, "a memory file that is not sealed");
  }
  struct stat Status = {};
  if (fstat(File, &Status) != 0 || Status.st_size <= 0 ||
      static_cast<std::uint64_t>(Status.st_size) > Limit) {
    ThrowMalformed(__LINE__, "a memory file of an impossible size");
  }
  // Reading a hole gives it memory: the reader's, for as long as the sender keeps the file.
  if (lseek(File, 0, SEEK_HOLE) != Status.st_size) {
    ThrowMalformed(__LINE__, "a memory file with holes");
  }
  auto Mapping = std::make_unique<TCMapping>(File, static_cast<std::size_t>(Status.st_size));
  TSPlaces Places = FindRecords(Signature, Mapping->get_Bytes(), Most);
  return std::make_shared<TCNorvMailBody const>(TSMade(), Signature, std::move(Mapping),
                                                std::move(Places));
}

std::shared_ptr<TCNorvMailBody const> TCNorvMailBody::InMemoryFile(TCNorvMailBody const& Body) {
  TCFileDescriptor File(Body.MakeMemoryFile());
  struct stat Status = {};
  if (fstat(File.get(), &Status) != 0) {
    throw TCException(kSource, __LINE__).Format("cannot use a memory file: %s", strerror(errno));
  }
  auto Mapping = std::make_unique<TCMapping>(File.get(), static_cast<std::size_t>(Status.st_size));
  Mapping->Keep(std::move(File));
  return std::make_shared<TCNorvMailBody const>(TSMade(), Body.m_Signature, std::move(Mapping),
                                                Body.m_Places);
}

int TCNorvMailBody::MakeMemoryFile() const {
  bool const Kept = m_Mapping && m_Mapping->get_File() >= 0;
  TCFileDescriptor File(Kept ? fcntl(m_Mapping->get_File(), F_DUPFD_CLOEXEC, 0)
                             : memfd_create("mail", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (File.get() < 0) {
    throw TCException(kSource, __LINE__).Format("cannot make a memory file: %s", strerror(errno));
  }
  if (!Kept) {
    WriteMemoryFile(File.get());
  }
  return File.Release();
}

void TCNorvMailBody::WriteMemoryFile(int File) const {
  WriteAll(File, m_Bytes);
  if (fcntl(File, F_ADD_SEALS, kAllSeals) != 0) {
    throw TCException(kSource, __LINE__).Format("cannot seal a memory file: %s", strerror(errno));
  }
}

std::size_t TCNorvMailBody::get_MemorySize() const {
  return sizeof(*this) + m_Signature.capacity() +
         (m_Mapping ? m_Bytes.size() : m_Owned.capacity()) +
         m_Places.Further.capacity() * sizeof(m_Places.Further[0]);
}
