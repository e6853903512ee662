// SPDX-License-Identifier: MIT
// Goes from the folder of the running code to the other folders of its tree.
#include "SchemaLibrary/InstalledPlaces.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <system_error>

namespace Property {

namespace {

namespace fs = std::filesystem;

/// Where the running code lies, and the ways from there.
struct TSOwnPlace {
  fs::path Folder;  // empty when it belongs to no tree of this product
  char const* WayToTrial = PROPERTY_WAY_TO_TRIAL;
  char const* WayToSchemas = PROPERTY_WAY_TO_SCHEMAS;
};

// The file of the shared library with this code; empty where the program itself has it. A path that
// begins where the process happens to be is none.
fs::path OwnLibrary() {
  static char const Here = 0;
  Dl_info Info = {};
  void* Entry = nullptr;
  if (dladdr1(&Here, &Info, &Entry, RTLD_DL_LINKMAP) == 0) {
    return fs::path();
  }
  fs::path const File = static_cast<link_map const*>(Entry)->l_name;
  std::error_code Error;
  return File.is_absolute() ? fs::canonical(File, Error) : fs::path();
}

TSOwnPlace OwnPlace() {
  std::error_code Error;
  fs::path const Library = OwnLibrary().parent_path();
  if (!Library.empty() && fs::exists(Library / PROPERTY_WAY_FROM_LIBRARY_TO_TRIAL, Error)) {
    return {Library, PROPERTY_WAY_FROM_LIBRARY_TO_TRIAL, PROPERTY_WAY_FROM_LIBRARY_TO_SCHEMAS};
  }
  fs::path const Program = fs::read_symlink("/proc/self/exe", Error).parent_path();
  bool const Whole = !Error && fs::exists(Program / PROPERTY_WAY_TO_TRIAL, Error);
  return {Whole ? Program : fs::path()};
}

std::string FindPlace(char const* TSOwnPlace::*Way, char const* Otherwise) {
  TSOwnPlace const Place = OwnPlace();
  return Place.Folder.empty() ? fs::path(Otherwise)
                              : (Place.Folder / (Place.*Way)).lexically_normal();
}

}  // namespace

std::string FindTrialProgram() {
  return FindPlace(&TSOwnPlace::WayToTrial, PROPERTY_TRIAL);
}

std::string FindSchemaFolder() {
  return FindPlace(&TSOwnPlace::WayToSchemas, PROPERTY_SCHEMAS);
}

}  // namespace Property
