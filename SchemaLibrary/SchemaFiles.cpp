// SPDX-License-Identifier: MIT
// Looks into folders, and at each file before anything is done with it.
#include "SchemaLibrary/SchemaFiles.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "SchemaLibrary/TrustedPlace.h"

namespace Property {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostFiles = 1000;

struct TSFree {
  void operator()(char* Text) const { std::free(Text); }
};

TSSchemaLibrary Refused(std::string const& File, std::string Reason) {
  TSSchemaLibrary Library;
  Library.File = File;
  Library.Reason = std::move(Reason);
  return Library;
}

bool IsLibraryName(std::string const& Name) {
  constexpr std::size_t kEnding = 3;
  return Name.size() > kEnding && Name.compare(Name.size() - kEnding, kEnding, ".so") == 0;
}

std::vector<std::string> FilesOfFolder(fs::path const& Folder, std::error_code& Error) {
  std::vector<std::string> Files;
  for (fs::directory_iterator Entry(Folder, Error), End; !Error && Entry != End;
       Entry.increment(Error)) {
    if (IsLibraryName(Entry->path().filename().string())) {
      Files.push_back(Entry->path().string());
    }
  }
  std::sort(Files.begin(), Files.end());
  return Files;
}

void AddOnce(TSSchemaLibrary&& Library, std::vector<TSSchemaLibrary>& Libraries) {
  bool const IsThere = Library.Inode != 0 &&
                       std::any_of(Libraries.begin(), Libraries.end(),
                                   [&](auto const& Other) { return IsSameFile(Library, Other); });
  if (IsThere || Libraries.size() > kMostFiles) {
    return;
  }
  if (Libraries.size() == kMostFiles) {
    Library =
        Refused(Library.File, "it, and what comes behind it, is left out: there are more than " +
                                  std::to_string(kMostFiles) + " files");
  }
  Libraries.push_back(std::move(Library));
}

void AddPath(std::string const& Path, bool MayBeMissing, std::vector<TSSchemaLibrary>& Libraries) {
  std::error_code Error;
  fs::file_status const Status = fs::status(Path, Error);
  if (Status.type() == fs::file_type::not_found && MayBeMissing) {
    return;
  }
  if (!fs::is_directory(Status)) {
    AddOnce(LookAtSchemaFile(Path), Libraries);
    return;
  }
  for (std::string const& File : FilesOfFolder(Path, Error)) {
    AddOnce(LookAtSchemaFile(File), Libraries);
  }
  if (Error) {
    AddOnce(Refused(Path, "the folder cannot be read: " + Error.message()), Libraries);
  }
}

}  // namespace

std::vector<TSSchemaLibrary> FindSchemaFiles(std::vector<std::string> const& Paths,
                                             bool MayBeMissing) {
  std::vector<TSSchemaLibrary> Libraries;
  for (std::string const& Path : Paths) {
    AddPath(Path, MayBeMissing, Libraries);
  }
  return Libraries;
}

std::string RealPath(TSSchemaLibrary const& Library) {
  std::unique_ptr<char, TSFree> const Path(realpath(Library.File.c_str(), nullptr));
  return Path != nullptr ? std::string(Path.get()) : std::string();
}

TSSchemaLibrary LookAtSchemaFile(std::string const& File) {
  TSSchemaLibrary Library = Refused(File, std::string());
  std::string const Path = RealPath(Library);
  struct stat Status = {};
  if (Path.empty() || stat(Path.c_str(), &Status) != 0) {
    Library.Reason = std::strerror(errno);
    return Library;
  }
  constexpr long long kNanoseconds = 1000000000;
  Library.Device = Status.st_dev;
  Library.Inode = Status.st_ino;
  Library.Changed = Status.st_mtim.tv_sec * kNanoseconds + Status.st_mtim.tv_nsec;
  Library.Size = Status.st_size;
  Library.Reason = ReasonAgainstPlace(Path);
  return Library;
}

std::vector<std::string> SplitPaths(std::string const& Paths) {
  std::vector<std::string> Result;
  for (std::size_t Begin = 0; Begin <= Paths.size();) {
    std::size_t const End = std::min(Paths.find(':', Begin), Paths.size());
    if (End > Begin) {
      Result.push_back(Paths.substr(Begin, End - Begin));
    }
    Begin = End + 1;
  }
  return Result;
}

}  // namespace Property
