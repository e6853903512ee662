// SPDX-License-Identifier: MIT
// Reads users from lines, and puts a new file in the place of the old one.
#include "PropertyConsole/TCUserFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/TCUserFile";
constexpr std::size_t kLongestFile = std::size_t{1} << 20;
constexpr std::size_t kLongestName = 64;
constexpr mode_t kForOwner = S_IRUSR | S_IWUSR;

[[noreturn]] void FailAt(int Line, std::string const& What, std::string const& Path) {
  throw TCException(kSource, Line)
      .Format("cannot %s %s: %s", What.c_str(), PrintableText(Path).c_str(), std::strerror(errno));
}

[[noreturn]] void RefuseFile(int Line, std::string const& Path, std::string const& Why) {
  throw TCException(kSource, Line).Format("%s: %s", PrintableText(Path).c_str(), Why.c_str());
}

std::string FolderOf(std::string const& Path) {
  std::string const Folder = std::filesystem::path(Path).parent_path().string();
  return Folder.empty() ? "." : Folder;
}

// Empty where there is no file.
std::string ReadUsers(std::string const& Path) {
  // Does not wait for the writer of a pipe.
  TCFileDescriptor const File(open(Path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (File.get() < 0) {
    if (errno == ENOENT) {
      return std::string();
    }
    FailAt(__LINE__, "read", Path);
  }
  struct stat Status {};
  if (fstat(File.get(), &Status) != 0 || !S_ISREG(Status.st_mode)) {
    RefuseFile(__LINE__, Path, "it is no regular file");
  }
  if ((Status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    RefuseFile(__LINE__, Path, "others than its owner may use it; say chmod 600");
  }
  std::string Text(kLongestFile + 1, '\0');
  std::size_t Size = 0;
  ssize_t Got = 0;
  while (Size < Text.size() &&
         (Got = read(File.get(), Text.data() + Size, Text.size() - Size)) > 0) {
    Size += static_cast<std::size_t>(Got);
  }
  if (Got < 0) {
    FailAt(__LINE__, "read", Path);
  }
  if (Size > kLongestFile) {
    RefuseFile(__LINE__, Path, "it is larger than 1 MiB");
  }
  Text.resize(Size);
  return Text;
}

// What is wrong with the line; empty for nothing.
std::string AddLine(std::string const& Line, TCUserList& Users) {
  std::size_t const First = Line.find(':');
  std::size_t const Second = First == std::string::npos ? First : Line.find(':', First + 1);
  if (Second == std::string::npos) {
    return "a line is NAME:ROLE:HASH";
  }
  std::string const Name = Line.substr(0, First);
  auto const Role = FindRole(std::string_view(Line).substr(First + 1, Second - First - 1));
  if (!TCUserFile::CheckName(Name).empty() || !Role) {
    return "no such name or role can be";
  }
  if (!Users.emplace(Name, TSUser{*Role, Line.substr(Second + 1)}).second) {
    return "the user " + Name + " is there twice";
  }
  return "";
}

void WriteWhole(TCFileDescriptor const& File, std::string_view Text, std::string const& Path) {
  while (!Text.empty()) {
    ssize_t const Put = write(File.get(), Text.data(), Text.size());
    if (Put < 0) {
      FailAt(__LINE__, "write", Path);
    }
    Text.remove_prefix(static_cast<std::size_t>(Put));
  }
  if (fsync(File.get()) != 0) {
    FailAt(__LINE__, "write", Path);
  }
}

}  // namespace

// Whoever changes a file of the folder has it to himself; the file itself is replaced, and a lock
// on it would be one on the old file.
class TCUserFile::TCFolderLock {
 public:
  explicit TCFolderLock(std::string const& Path)
      : m_Folder(open(FolderOf(Path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (m_Folder.get() < 0 || flock(m_Folder.get(), LOCK_EX) != 0) {
      FailAt(__LINE__, "use the folder of", Path);
    }
  }
  /// A file's new name in it survives a power cut from here on.
  void Sync() const { fsync(m_Folder.get()); }

 private:
  TCFileDescriptor const m_Folder;
};

std::string TCUserFile::CheckName(std::string const& Name) {
  auto const IsGood = [](char Character) {
    return (Character >= 'a' && Character <= 'z') || (Character >= 'A' && Character <= 'Z') ||
           (Character >= '0' && Character <= '9') || Character == '.' || Character == '_' ||
           Character == '-';
  };
  if (Name.empty() || Name.size() > kLongestName || Name.front() == '-' ||
      !std::all_of(Name.begin(), Name.end(), IsGood)) {
    return "a user's name is 1 to 64 letters, digits, points, underscores and, but for the first, "
           "hyphens";
  }
  return "";
}

TCUserList TCUserFile::Load() const {
  TCUserList Users;
  std::string const Text = ReadUsers(m_Path);
  int Number = 0;
  for (std::size_t Begin = 0; Begin < Text.size();) {
    std::size_t const End = std::min(Text.find('\n', Begin), Text.size());
    ++Number;
    std::string const Wrong = AddLine(Text.substr(Begin, End - Begin), Users);
    if (!Wrong.empty()) {
      RefuseFile(__LINE__, m_Path + ":" + std::to_string(Number), Wrong);
    }
    Begin = End + 1;
  }
  return Users;
}

void TCUserFile::Add(std::string const& Name, TSUser const& User) const {
  TCFolderLock const Lock(m_Path);
  TCUserList Users = Load();
  if (!Users.emplace(Name, User).second) {
    throw TCException(kSource, __LINE__)
        .Format("there is a user %s already; remove it first", Name.c_str());
  }
  Save(Users);
  Lock.Sync();
}

void TCUserFile::Remove(std::string const& Name) const {
  TCFolderLock const Lock(m_Path);
  TCUserList Users = Load();
  if (Users.erase(Name) == 0) {
    throw TCException(kSource, __LINE__)
        .Format("there is no user %s in %s", PrintableText(Name).c_str(),
                PrintableText(m_Path).c_str());
  }
  Save(Users);
  Lock.Sync();
}

// Whoever reads it, or loses power, finds the old file or the new one whole.
void TCUserFile::Save(TCUserList const& Users) const {
  std::string Text;
  for (auto const& [Name, User] : Users) {
    Text += Name;
    Text += ':' + RoleName(User.Role) + ':' + User.Hash + '\n';
  }
  std::string const New = m_Path + ".new";
  unlink(New.c_str());  // of one that did not end well: the lock is ours
  TCFileDescriptor const File(
      open(New.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kForOwner));
  if (File.get() < 0) {
    FailAt(__LINE__, "make", New);
  }
  // The user who runs the service stays the file's owner when root changes it.
  struct stat Status {};
  if (stat(m_Path.c_str(), &Status) == 0 && geteuid() == 0 &&
      fchown(File.get(), Status.st_uid, Status.st_gid) != 0) {
    FailAt(__LINE__, "keep the owner of", m_Path);
  }
  WriteWhole(File, Text, New);
  if (rename(New.c_str(), m_Path.c_str()) != 0) {
    FailAt(__LINE__, "replace", m_Path);
  }
}

}  // namespace Property
