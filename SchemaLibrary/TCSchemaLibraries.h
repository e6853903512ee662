// SPDX-License-Identifier: MIT
// Loads schemas that are built as shared objects, without ever falling over a bad one.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "SchemaLibrary/TCSchemaTrial.h"
#include "SchemaLibrary/TSSchemaLibrary.h"

namespace Property {

/// The schema libraries of this process. For programs without a schema of their own: what a program
/// declares itself is not there when a library is tried.
///
/// A library is code. It is loaded only from a place that nobody but root and this process's user
/// can change, and only after a child process has loaded it, together with those before it, and has
/// completed the schema and ended well (docs/schema-libraries.md). Loaded libraries stay loaded
/// until the process ends: values and stores refer to their nodes.
///
/// Not synchronised. Load() runs before other threads use the schema.
class TCSchemaLibraries {
 public:
  /// `Paths` name files, and folders whose *.so files are meant, in the order of their names.
  /// Without any, the variable PROPERTY_SCHEMA names them, divided by colons; without that too, it
  /// is the folder of installed schemas. That one may be missing, unlike what was named.
  explicit TCSchemaLibraries(std::vector<std::string> Paths,
                             TSSchemaTrialSettings Settings = TSSchemaTrialSettings());
  TCSchemaLibraries(TCSchemaLibraries const&) = delete;
  TCSchemaLibraries& operator=(TCSchemaLibraries const&) = delete;

  /// Looks for files, tries those that are new, loads the good ones and completes the schema. What
  /// is wrong with a library is found in get_Libraries() and nowhere else.
  /// `Known` is what another process found out: where it has a verdict of the very same content for
  /// every file here, nothing is tried again. It counts only where all that it has loaded is here,
  /// too: a library may be good or bad because of those beside it. Where these files lie is looked
  /// at all the same.
  /// May be called again, for what was added meanwhile; a file that has changed since it was loaded
  /// has to wait for the next start.
  void Load(std::vector<TSSchemaLibrary> const& Known = {});

  /// Whether somebody has said which libraries are meant: `Paths`, or else the environment.
  static bool AreNamed(std::vector<std::string> const& Paths);
  /// All files that were found, in the order of loading, and named ones that were not.
  std::vector<TSSchemaLibrary> const& get_Libraries() const { return m_Libraries; }
  /// Whether any library is loaded: without one, nothing is known about any number.
  bool HasSchema() const;
  /// The file that a node came with; empty for one that came with none.
  std::string FindFile(int Number) const;

 private:
  void FindLibraries();
  bool TakeVerdicts(std::vector<TSSchemaLibrary> const& Known);
  bool AreAllLoaded(std::vector<TSSchemaLibrary> const& Known) const;
  bool AreAllHere(std::vector<TSSchemaLibrary> const& Known) const;
  void TryLibraries();
  bool AreLoadedFilesTheSame() const;
  void RefuseUntried(std::string const& Reason);
  void LoadAccepted();
  void LoadOne(TSSchemaLibrary& Library);

  std::vector<std::string> const m_Paths;
  TSSchemaTrialSettings const m_Settings;
  std::vector<TSSchemaLibrary> m_Libraries;
  std::vector<TSSchemaLibrary> m_Earlier;  // m_Libraries of the last Load()
  std::map<int, std::string> m_Files;      // by the number of the node
};

}  // namespace Property
