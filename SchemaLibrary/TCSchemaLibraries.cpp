// SPDX-License-Identifier: MIT
// Finds, tries and loads libraries, and remembers what came of each.
#include "SchemaLibrary/TCSchemaLibraries.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <utility>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/PrintableText.h"
#include "SchemaLibrary/InstalledPlaces.h"
#include "SchemaLibrary/SchemaFiles.h"

namespace Property {

namespace {

std::string const kCannotRepeat =
    "it cannot be tried: a library that is loaded has changed or is gone; it takes a start";
std::string const kChanged = "another version of it is loaded; it takes a start to change that";

std::set<int> NumbersOfNodes() {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  std::set<int> Numbers;
  for (auto const& Entry : *TCBasicPropertyID::m_List) {
    Numbers.insert(Numbers.end(), Entry.first);
  }
  return Numbers;
}

/// Lets nodes be added to a schema that is complete, until Initialize() has completed them, too.
void ReopenSchema() {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  TCBasicPropertyID::m_Initialized = false;
}

std::vector<std::string> PathsOfEnvironment() {
  char const* const Paths = secure_getenv("PROPERTY_SCHEMA");
  return Paths != nullptr ? SplitPaths(Paths) : std::vector<std::string>();
}

TSSchemaTrialSettings WithProgram(TSSchemaTrialSettings Settings) {
  if (Settings.Program.empty()) {
    Settings.Program = FindTrialProgram();
  }
  return Settings;
}

TSSchemaLibrary const* FindSame(std::vector<TSSchemaLibrary> const& Libraries,
                                TSSchemaLibrary const& Wanted) {
  auto const Itr = std::find_if(Libraries.begin(), Libraries.end(),
                                [&](auto const& Library) { return IsSameFile(Library, Wanted); });
  return Itr != Libraries.end() ? &*Itr : nullptr;
}

bool IsToBeTried(TSSchemaLibrary const& Library) {
  return !Library.Loaded && Library.Reason.empty();
}

}  // namespace

TCSchemaLibraries::TCSchemaLibraries(std::vector<std::string> Paths, TSSchemaTrialSettings Settings)
    : m_Paths(std::move(Paths)), m_Settings(WithProgram(std::move(Settings))) {}

void TCSchemaLibraries::Load(std::vector<TSSchemaLibrary> const& Known) {
  FindLibraries();
  TakeVerdicts(m_Earlier);
  bool const AllKnown = AreAllHere(Known) && TakeVerdicts(Known) && AreAllLoaded(Known);
  if (!AllKnown) {
    TryLibraries();
  }
  LoadAccepted();
  m_Earlier = m_Libraries;
}

bool TCSchemaLibraries::AreNamed(std::vector<std::string> const& Paths) {
  return !Paths.empty() || !PathsOfEnvironment().empty();
}

bool TCSchemaLibraries::HasSchema() const {
  return std::any_of(m_Libraries.begin(), m_Libraries.end(),
                     [](TSSchemaLibrary const& Library) { return Library.Loaded; });
}

std::string TCSchemaLibraries::FindFile(int Number) const {
  auto const Itr = m_Files.find(Number);
  return Itr != m_Files.end() ? Itr->second : std::string();
}

// What is loaded stays in the list, whatever lies in its place now.
void TCSchemaLibraries::FindLibraries() {
  std::vector<std::string> Paths = m_Paths.empty() ? PathsOfEnvironment() : m_Paths;
  bool const Default = Paths.empty();
  if (Default) {
    Paths.push_back(FindSchemaFolder());
  }
  m_Libraries.erase(std::remove_if(m_Libraries.begin(), m_Libraries.end(),
                                   [](TSSchemaLibrary const& Library) { return !Library.Loaded; }),
                    m_Libraries.end());
  std::vector<TSSchemaLibrary> const Loaded = m_Libraries;
  for (TSSchemaLibrary& Library : FindSchemaFiles(Paths, Default)) {
    if (FindSame(Loaded, Library) != nullptr) {
      continue;
    }
    bool const Changed =
        std::any_of(Loaded.begin(), Loaded.end(),
                    [&](TSSchemaLibrary const& Other) { return Other.File == Library.File; });
    if (Changed) {
      Library.Reason = kChanged;
    }
    m_Libraries.push_back(std::move(Library));
  }
}

// Refuses what is known to be bad. Answers whether everything that is left is known to be good.
bool TCSchemaLibraries::TakeVerdicts(std::vector<TSSchemaLibrary> const& Known) {
  bool AllGood = true;
  for (TSSchemaLibrary& Library : m_Libraries) {
    if (!IsToBeTried(Library)) {
      continue;
    }
    TSSchemaLibrary const* const Verdict = FindSame(Known, Library);
    if (Verdict != nullptr && Verdict->Tried && !Verdict->Loaded) {
      Library.Reason = PrintableLine(Verdict->Reason);
      Library.Tried = true;
    } else {
      AllGood = AllGood && Verdict != nullptr && Verdict->Loaded;
    }
  }
  return AllGood;
}

bool TCSchemaLibraries::AreAllLoaded(std::vector<TSSchemaLibrary> const& Known) const {
  return std::all_of(m_Libraries.begin(), m_Libraries.end(), [&](TSSchemaLibrary const& Library) {
    return !Library.Loaded || FindSame(Known, Library) != nullptr;
  });
}

bool TCSchemaLibraries::AreAllHere(std::vector<TSSchemaLibrary> const& Known) const {
  return std::all_of(Known.begin(), Known.end(), [&](TSSchemaLibrary const& Library) {
    return !Library.Loaded || FindSame(m_Libraries, Library) != nullptr;
  });
}

void TCSchemaLibraries::TryLibraries() {
  if (!AreLoadedFilesTheSame()) {
    RefuseUntried(kCannotRepeat);
    return;
  }
  std::vector<std::string> Loaded;
  std::vector<std::string> Files;
  std::vector<TSSchemaLibrary*> Tried;
  for (TSSchemaLibrary& Library : m_Libraries) {
    if (Library.Loaded) {
      Loaded.push_back(RealPath(Library));
    } else if (Library.Reason.empty()) {
      Files.push_back(RealPath(Library));
      Tried.push_back(&Library);
    }
  }
  std::vector<TSSchemaVerdict> const Verdicts = TCSchemaTrial(m_Settings).Try(Loaded, Files);
  for (std::size_t Place = 0; Place < Verdicts.size(); ++Place) {
    Tried[Place]->Reason = Verdicts[Place].Reason;
    Tried[Place]->Tried = Verdicts[Place].Tried;
  }
}

// A trial begins with what this process has loaded.
bool TCSchemaLibraries::AreLoadedFilesTheSame() const {
  return std::all_of(m_Libraries.begin(), m_Libraries.end(), [](TSSchemaLibrary const& Library) {
    return !Library.Loaded || IsSameFile(Library, LookAtSchemaFile(Library.File));
  });
}

void TCSchemaLibraries::RefuseUntried(std::string const& Reason) {
  for (TSSchemaLibrary& Library : m_Libraries) {
    if (IsToBeTried(Library)) {
      Library.Reason = Reason;
    }
  }
}

void TCSchemaLibraries::LoadAccepted() {
  UnassignedProperty();  // there is a registry from here on
  bool const Any = std::any_of(m_Libraries.begin(), m_Libraries.end(), IsToBeTried);
  if (Any) {
    ReopenSchema();
  }
  for (TSSchemaLibrary& Library : m_Libraries) {
    if (IsToBeTried(Library)) {
      LoadOne(Library);
    }
  }
  TCBasicPropertyID::Initialize();
}

// The trial has loaded the same files in the same order, so this goes well, too.
void TCSchemaLibraries::LoadOne(TSSchemaLibrary& Library) {
  if (!IsSameFile(Library, LookAtSchemaFile(Library.File))) {
    Library.Reason = "it has changed while it was tried";
    return;
  }
  std::set<int> const Before = NumbersOfNodes();
  void* const Handle =
      dlopen(RealPath(Library).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);  // never closed
  if (Handle == nullptr) {
    Library.Reason = PrintableLine(dlerror());
    return;
  }
  Library.Loaded = true;
  Library.Tried = true;
  for (int const Number : NumbersOfNodes()) {
    if (Before.count(Number) == 0) {
      m_Files.emplace(Number, Library.File);
      ++Library.Nodes;
    }
  }
}

}  // namespace Property
