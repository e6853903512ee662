// SPDX-License-Identifier: MIT
// What syncing keeps, and the drawing of what is kept without.
#include "tests/fault/power/TCPowerCut.h"

#include <algorithm>

using DiskFaults::TEOperation;

namespace {

constexpr std::size_t kSector = 512;

void WriteAt(std::string& Content, std::size_t Place, std::string_view Data) {
  if (Content.size() < Place + Data.size()) {
    Content.resize(Place + Data.size());
  }
  std::copy(Data.begin(), Data.end(), Content.begin() + static_cast<std::ptrdiff_t>(Place));
}

void Apply(std::string& Content, TSDiskOperation const& Operation) {
  auto const Place = static_cast<std::size_t>(Operation.Place);
  if (Operation.Kind == TEOperation::eWrite) {
    WriteAt(Content, Place, Operation.Data);
  } else {
    Content.resize(Place);
  }
}

// Sectors count from the beginning of the file.
void ApplySomeSectors(std::string& Content, TSDiskOperation const& Write, std::mt19937& Random) {
  std::string_view Rest = Write.Data;
  auto Place = static_cast<std::size_t>(Write.Place);
  while (!Rest.empty()) {
    std::size_t const Size = std::min(kSector - Place % kSector, Rest.size());
    if (Random() % 2 == 0) {
      WriteAt(Content, Place, Rest.substr(0, Size));
    }
    Rest.remove_prefix(Size);
    Place += Size;
  }
}

void ApplyPart(std::string& Content, TSDiskOperation const& Operation, std::mt19937& Random) {
  if (Operation.Kind == TEOperation::eWrite && Random() % 2 == 0) {
    ApplySomeSectors(Content, Operation, Random);
  } else if (Operation.Kind == TEOperation::eWrite) {
    std::string_view const Data = Operation.Data;
    WriteAt(Content, static_cast<std::size_t>(Operation.Place),
            Data.substr(0, Random() % (Data.size() + 1)));
  } else {
    Apply(Content, Operation);
  }
}

bool IsLog(std::string const& Name) {
  return Name.find('-') != std::string::npos;
}

}  // namespace

TCPowerCut::TCPowerCut(TFiles const& Files) {
  for (auto const& [Name, Content] : Files) {
    auto const File = std::make_shared<TSFile>();
    File->Synced = Content;
    File->Written = Content;
    m_Names[Name] = File;
  }
  m_SyncedNames = m_Names;
}

void TCPowerCut::Do(TSDiskOperation const& Operation) {
  if (Operation.Kind == TEOperation::eCreate || Operation.Kind == TEOperation::eDelete) {
    bool const IsNew = Operation.Kind == TEOperation::eCreate;
    TFile const File = IsNew ? std::make_shared<TSFile>() : nullptr;
    if (IsNew) {
      File->SyncsFolder = IsLog(Operation.File);
    }
    m_UnsyncedNames.emplace_back(Operation.File, File);
    Apply(m_Names, m_UnsyncedNames.back());
    if (Operation.SyncsFolder) {
      SyncFolder();
    }
    return;
  }
  TSFile& File = *m_Names.at(Operation.File);
  if (Operation.Kind != TEOperation::eSync) {
    ::Apply(File.Written, Operation);
    File.Unsynced.push_back(Operation);
    return;
  }
  File.Synced = File.Written;
  File.Unsynced.clear();
  ++m_Syncs;
  if (std::exchange(File.SyncsFolder, false)) {
    SyncFolder();
  }
}

void TCPowerCut::SyncFolder() {
  m_SyncedNames = m_Names;
  m_UnsyncedNames.clear();
  ++m_Syncs;
}

void TCPowerCut::Apply(TNames& Names, std::pair<std::string, TFile> const& Change) {
  if (Change.second) {
    Names[Change.first] = Change.second;
  } else {
    Names.erase(Change.first);
  }
}

TFiles TCPowerCut::Synced() const {
  TFiles Files;
  for (auto const& [Name, File] : m_SyncedNames) {
    Files[Name] = File->Synced;
  }
  return Files;
}

TFiles TCPowerCut::Written() const {
  TFiles Files;
  for (auto const& [Name, File] : m_Names) {
    Files[Name] = File->Written;
  }
  return Files;
}

TFiles TCPowerCut::Torn(std::mt19937& Random) const {
  TNames Names = m_SyncedNames;
  std::size_t const Kept = Random() % (m_UnsyncedNames.size() + 1);
  for (std::size_t Index = 0; Index < Kept; ++Index) {
    Apply(Names, m_UnsyncedNames[Index]);
  }
  auto const Whole = Random() % 101;  // percent of the writes
  auto const Part = Random() % 101;   // of the others
  TFiles Files;
  for (auto const& [Name, File] : Names) {
    std::string& Content = Files[Name] = File->Synced;
    for (TSDiskOperation const& Operation : File->Unsynced) {
      if (Random() % 100 < Whole) {
        ::Apply(Content, Operation);
      } else if (Random() % 100 < Part) {
        ApplyPart(Content, Operation, Random);
      }
    }
  }
  return Files;
}
