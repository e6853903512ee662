// SPDX-License-Identifier: MIT
// Owner and mode of a file and of the folders above it.
#include "SchemaLibrary/TrustedPlace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Platform/Utility/PrintableText.h"

namespace Property {

namespace {

bool CanBeWrittenByOthers(struct stat const& Status) {
  bool const Group =
      (Status.st_mode & S_IWGRP) != 0 && Status.st_gid != 0 && Status.st_gid != getegid();
  return Group || (Status.st_mode & S_IWOTH) != 0;
}

std::string ReasonAgainst(struct stat const& Status, std::string const& Name) {
  if (Status.st_uid != 0 && Status.st_uid != geteuid()) {
    return Name + " is owned by the user " + std::to_string(Status.st_uid) +
           ", not by root or the user who loads it";
  }
  bool const Sticky = S_ISDIR(Status.st_mode) && (Status.st_mode & S_ISVTX) != 0;
  return CanBeWrittenByOthers(Status) && !Sticky ? Name + " can be written by other users"
                                                 : std::string();
}

}  // namespace

std::string ReasonAgainstPlace(std::string const& Path) {
  struct stat Status = {};
  if (lstat(Path.c_str(), &Status) != 0) {
    return std::strerror(errno);
  }
  if (!S_ISREG(Status.st_mode)) {
    return "it is no regular file";
  }
  std::string Reason = ReasonAgainst(Status, "it");
  for (std::size_t End = Path.rfind('/'); Reason.empty() && End != std::string::npos;
       End = End == 0 ? std::string::npos : Path.rfind('/', End - 1)) {
    std::string const Folder = End == 0 ? "/" : Path.substr(0, End);
    if (lstat(Folder.c_str(), &Status) != 0) {
      return std::strerror(errno);
    }
    Reason = ReasonAgainst(Status, "the folder " + PrintableText(Folder));
  }
  return Reason;
}

}  // namespace Property
