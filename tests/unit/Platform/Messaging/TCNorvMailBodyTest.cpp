// SPDX-License-Identifier: MIT
// Records in memory files: what is written, and what is refused when read.
#include "Platform/Messaging/TCNorvMailBody.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Utility/TCFileDescriptor.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

std::string Word(std::uint32_t Value) {
  std::string Bytes;
  for (int Shift = 0; Shift < 32; Shift += 8) {
    Bytes.push_back(static_cast<char>((Value >> Shift) & 0xffU));
  }
  return Bytes;
}

// A file of this process's own making; closed with the test's process.
class TMemoryFile {
 public:
  explicit TMemoryFile(std::string const& Bytes,
                       int Seals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL)
      : m_File(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    EXPECT_EQ(write(m_File, Bytes.data(), Bytes.size()), static_cast<ssize_t>(Bytes.size()));
    EXPECT_EQ(fcntl(m_File, F_ADD_SEALS, Seals), 0);
  }
  ~TMemoryFile() { close(m_File); }
  int get() const { return m_File; }

 private:
  int m_File;
};

void ExpectMalformed(TMemoryFile const& File, std::string const& Signature,
                     std::string const& Reason) {
  TCException const Exception =
      CaughtException([&] { TCNorvMailBody::FromMemoryFile(File.get(), Signature); });
  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/TCNorvMailBody");
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: " + Reason);
}

std::string const kRecord = Word(3) + Word(7) + Word(2) + "ab";

TEST(MailBody, IsReadFromBytes) {
  auto const Body = TCNorvMailBody::FromBytes("is", kRecord + kRecord);
  EXPECT_EQ(Body->get_Signature(), "is");
  EXPECT_EQ(Body->get_Count(), 2);
  EXPECT_EQ(Body->get_Record(1), kRecord);
  EXPECT_EQ(TCNorvMailBody::FromBytes("is", "")->get_Count(), 0);
}

TEST(MailBody, IsNotReadFromBytesThatHoldNoRecords) {
  auto const Refusal = [](std::string const& Signature, std::string const& Bytes) {
    return CaughtException([&] { TCNorvMailBody::FromBytes(Signature, Bytes); }).get_Message();
  };
  EXPECT_EQ(Refusal("is", kRecord + "x"), "Malformed mail: a record ends early");
  EXPECT_EQ(Refusal("id", kRecord), "Malformed mail: a field of an unknown type");
  EXPECT_EQ(Refusal("", kRecord),
            "Malformed mail: an assigned field that the record does not have");
}

TEST(MailBody, InAMemoryFileHandsOutThatFileAgainAndAgain) {
  auto const Body = TCNorvMailBody::InMemoryFile(*TCNorvMailBody::FromBytes("is", kRecord));
  struct stat First = {};
  struct stat Second = {};
  for (struct stat* Status : {&First, &Second}) {
    TCFileDescriptor const File(Body->MakeMemoryFile());
    ASSERT_EQ(fstat(File.get(), Status), 0);
    EXPECT_EQ(TCNorvMailBody::FromMemoryFile(File.get(), "is")->get_Record(0), kRecord);
  }
  EXPECT_EQ(First.st_ino, Second.st_ino);
  EXPECT_EQ(Body->get_Record(0), kRecord);
}

TEST(MailBody, IsReadFromAMemoryFile) {
  TMemoryFile const File(kRecord + kRecord);
  auto const Body = TCNorvMailBody::FromMemoryFile(File.get(), "is");
  EXPECT_EQ(Body->get_Signature(), "is");
  EXPECT_EQ(Body->get_Count(), 2);
  EXPECT_EQ(Body->get_Record(0), kRecord);
  EXPECT_EQ(Body->get_Record(1), kRecord);
}

TEST(MailBody, SurvivesItsFile) {
  std::shared_ptr<TCNorvMailBody const> Body;
  {
    TMemoryFile const File(kRecord);
    Body = TCNorvMailBody::FromMemoryFile(File.get(), "is");
  }
  EXPECT_EQ(Body->get_Record(0), kRecord);
}

TEST(MailBody, WritesASealedMemoryFile) {
  TCNorvMailBody::TCWriter Writer("is");
  Writer.AppendRecord(kRecord);
  int const File = Writer.Finish()->MakeMemoryFile();
  EXPECT_EQ(fcntl(File, F_GET_SEALS), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
  EXPECT_EQ(fcntl(File, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  std::string const& Expected = kRecord;
  std::string Bytes(Expected.size() + 1, '\0');
  EXPECT_EQ(pread(File, Bytes.data(), Bytes.size(), 0), static_cast<ssize_t>(Expected.size()));
  Bytes.pop_back();
  EXPECT_EQ(Bytes, Expected);
  close(File);
}

TEST(MailBody, RefusesAFileThatMayStillChange) {
  std::string const& Bytes = kRecord;
  ExpectMalformed(TMemoryFile(Bytes, 0), "is", "a memory file that is not sealed");
  ExpectMalformed(TMemoryFile(Bytes, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL), "is",
                  "a memory file that is not sealed");
  ExpectMalformed(TMemoryFile(Bytes, F_SEAL_WRITE | F_SEAL_GROW), "is",
                  "a memory file that is not sealed");
  ExpectMalformed(TMemoryFile(Bytes, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SEAL), "is",
                  "a memory file that is not sealed");
  ExpectMalformed(TMemoryFile(Bytes, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK), "is",
                  "a memory file that is not sealed");
}

TEST(MailBody, RefusesWhatIsNoMemoryFile) {
  int Pipe[2];
  ASSERT_EQ(pipe2(Pipe, O_CLOEXEC), 0);
  TCFileDescriptor const Writing(Pipe[1]);
  TCFileDescriptor const Others[] = {
      TCFileDescriptor(Pipe[0]),
      TCFileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      TCFileDescriptor(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      TCFileDescriptor(open("/", O_PATH | O_CLOEXEC)),
      TCFileDescriptor(open("/dev/zero", O_RDWR | O_CLOEXEC)),
      TCFileDescriptor(open("/proc/self/exe", O_RDONLY | O_CLOEXEC)),
  };
  for (TCFileDescriptor const& File : Others) {
    ASSERT_GE(File.get(), 0);
    TCException const Exception =
        CaughtException([&] { TCNorvMailBody::FromMemoryFile(File.get(), "is"); });
    EXPECT_EQ(Exception.get_Message(), "Malformed mail: a memory file that is not sealed");
  }
}

TEST(MailBody, RefusesAnEmptyFile) {
  ExpectMalformed(TMemoryFile(""), "is", "a memory file of an impossible size");
}

TEST(MailBody, RefusesAFileAboveTheLimit) {
  TMemoryFile const File(kRecord);
  TCException const Exception =
      CaughtException([&] { TCNorvMailBody::FromMemoryFile(File.get(), "is", 10); });
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: a memory file of an impossible size");
}

// Memory for a hole would be the reader's, for as long as the sender keeps the file open.
TEST(MailBody, RefusesAFileWithHolesAndGivesThemNoMemory) {
  constexpr off_t kSize = 1 << 20;
  TCFileDescriptor const File(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  std::string const Bytes = Word(1) + Word(kSize - 8);
  ASSERT_EQ(write(File.get(), Bytes.data(), Bytes.size()), static_cast<ssize_t>(Bytes.size()));
  ASSERT_EQ(ftruncate(File.get(), kSize), 0);
  ASSERT_EQ(
      fcntl(File.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL), 0);
  struct stat Before = {};
  ASSERT_EQ(fstat(File.get(), &Before), 0);
  TCException const Exception =
      CaughtException([&] { TCNorvMailBody::FromMemoryFile(File.get(), "is"); });
  struct stat After = {};
  ASSERT_EQ(fstat(File.get(), &After), 0);
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: a memory file with holes");
  EXPECT_EQ(After.st_blocks, Before.st_blocks);
}

TEST(MailBody, RefusesAFileOfMoreRecordsThanAreAllowed) {
  TMemoryFile const File(kRecord + kRecord);
  EXPECT_EQ(TCNorvMailBody::FromMemoryFile(File.get(), "is", TCNorvMailBody::kMaximumSize, 2)
                ->get_Count(),
            2);
  TCException const Exception = CaughtException(
      [&] { TCNorvMailBody::FromMemoryFile(File.get(), "is", TCNorvMailBody::kMaximumSize, 1); });
  EXPECT_EQ(Exception.get_Message(),
            "a mail has more than 1 records, the most that are allowed (mail_records)");
}

TEST(MailBody, RefusesUnknownFieldTypes) {
  ExpectMalformed(TMemoryFile(kRecord), "ix", "a field of an unknown type");
  ExpectMalformed(TMemoryFile(Word(1) + "x" + Word(0)), "v", "a field of an unknown type");
  ExpectMalformed(TMemoryFile(Word(1) + "v" + Word(0)), "v", "a field of an unknown type");
}

TEST(MailBody, RefusesTooManyFields) {
  ExpectMalformed(TMemoryFile(Word(0) + std::string(4 * 33, '\0')), std::string(33, 'i'),
                  "too many fields in a record");
}

TEST(MailBody, RefusesATextLongerThanTheFile) {
  ExpectMalformed(TMemoryFile(Word(1) + Word(3) + "ab"), "s", "a record ends early");
  ExpectMalformed(TMemoryFile(Word(1) + Word(0xffffffffU) + "ab"), "s", "a record ends early");
}

TEST(MailBody, RefusesBytesBehindTheLastRecord) {
  ExpectMalformed(TMemoryFile(kRecord + "x"), "is", "a record ends early");
}

TEST(MailBody, RefusesABooleanOfTwo) {
  ExpectMalformed(TMemoryFile(Word(1) + "\2"), "b", "a boolean that is neither 0 nor 1");
}

TEST(MailBody, RefusesAnAssignedFieldThatIsNotThere) {
  ExpectMalformed(TMemoryFile(Word(2) + "\1"), "b",
                  "an assigned field that the record does not have");
}

TEST(MailBody, WriterRefusesAFieldOfAnotherType) {
  TCNorvMailBody::TCWriter Writer("i");
  Writer.BeginRecord(1);
  TCException const Exception = CaughtException([&] { Writer.AppendField({true, 's', 0, "x"}); });
  EXPECT_EQ(Exception.get_Message(),
            "Malformed mail: a field of another type than its record declares");
}

}  // namespace
