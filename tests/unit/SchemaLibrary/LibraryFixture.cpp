// SPDX-License-Identifier: MIT
// Copies libraries to where only this user can write.
#include "tests/unit/SchemaLibrary/LibraryFixture.h"

#include <fstream>

#include "tests/support/PrivateFolder.h"

using Property::TCSchemaLibraries;
using Property::TSSchemaLibrary;
using Property::TSSchemaTrialSettings;

namespace fs = std::filesystem;

LibraryFixture::LibraryFixture() : m_Folder(fs::canonical(MakePrivateFolder())) {}

LibraryFixture::~LibraryFixture() {
  std::error_code Error;
  fs::remove_all(m_Folder, Error);
}

TSSchemaTrialSettings LibraryFixture::Settings() {
  TSSchemaTrialSettings Settings;
  Settings.Program = TRIAL_PROGRAM;
  return Settings;
}

std::string LibraryFixture::Copy(std::string const& Name, std::string const& As) const {
  fs::path const Target = m_Folder / (As + ".so");
  fs::create_directories(Target.parent_path());
  fs::copy_file(fs::path(TEST_LIBRARIES) / (Name + ".so"), Target,
                fs::copy_options::overwrite_existing);
  fs::permissions(Target, fs::perms::owner_all);
  return Target;
}

std::string LibraryFixture::Write(std::string const& Name, std::string const& Content) const {
  fs::path const Target = m_Folder / Name;
  std::ofstream(Target, std::ios::binary) << Content;
  fs::permissions(Target, fs::perms::owner_read);
  return Target;
}

std::vector<std::string> LibraryFixture::Told(TCSchemaLibraries const& Libraries) const {
  std::vector<std::string> Lines;
  for (TSSchemaLibrary const& Library : Libraries.get_Libraries()) {
    Lines.push_back(WithoutFolder(Library.File) + ": " +
                    (Library.Loaded ? "loaded" : WithoutFolder(Library.Reason)));
  }
  return Lines;
}

std::string LibraryFixture::Outcome(std::string const& Name) const {
  TCSchemaLibraries Libraries({Copy(Name)}, Settings());
  Libraries.Load();
  TSSchemaLibrary const& Library = Libraries.get_Libraries().front();
  return Library.Loaded ? "loaded" : WithoutFolder(Library.Reason);
}

std::string LibraryFixture::WithoutFolder(std::string Text) const {
  std::string const Folder = m_Folder.string() + "/";
  for (std::size_t Place = 0; (Place = Text.find(Folder)) != std::string::npos;) {
    Text.erase(Place, Folder.size());
  }
  return Text;
}
