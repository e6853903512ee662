// SPDX-License-Identifier: MIT
// A folder of a test's own, for its files and sockets.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// Makes an empty folder in `Parent` that only this user can enter; whoever asks for it removes it.
/// Throws std::system_error.
inline std::string MakePrivateFolder(
    std::filesystem::path const& Parent = std::filesystem::temp_directory_path()) {
  std::string Path = Parent / "property_test.XXXXXX";
  if (mkdtemp(Path.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot make a folder like " + Path);
  }
  return Path;
}
