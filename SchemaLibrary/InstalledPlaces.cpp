// SPDX-License-Identifier: MIT
// Goes from the folder of the running program to the other folders of its tree.
#include "SchemaLibrary/InstalledPlaces.h"

#include <filesystem>
#include <system_error>

namespace Property {

namespace {

namespace fs = std::filesystem;

// Empty when the running program belongs to no tree of this product.
fs::path OwnFolder() {
  std::error_code Error;
  fs::path const Folder = fs::read_symlink("/proc/self/exe", Error).parent_path();
  bool const Whole = !Error && fs::exists(Folder / PROPERTY_WAY_TO_TRIAL, Error);
  return Whole ? Folder : fs::path();
}

std::string FindPlace(char const* Way, char const* Place) {
  fs::path const Folder = OwnFolder();
  return Folder.empty() ? fs::path(Place) : (Folder / Way).lexically_normal();
}

}  // namespace

std::string FindTrialProgram() {
  return FindPlace(PROPERTY_WAY_TO_TRIAL, PROPERTY_TRIAL);
}

std::string FindSchemaFolder() {
  return FindPlace(PROPERTY_WAY_TO_SCHEMAS, PROPERTY_SCHEMAS);
}

}  // namespace Property
