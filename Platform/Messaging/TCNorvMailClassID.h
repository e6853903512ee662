// SPDX-License-Identifier: MIT
// Identifies a mail class: the kind of records that a mail carries.
#pragma once

#include <string>

#include "Platform/PlatformExport.h"

/// Name and version of a mail class. Two ids are equal when both are; mails of different versions
/// never meet. A value type: copied freely, immutable, safe to read from every thread.
class PROPERTY_PLATFORM_EXPORT TCNorvMailClassID {
 public:
  TCNorvMailClassID(std::string const& Name, int Version);

  /// Dispatch key derived from name and version; the same in every process.
  int get_ID() const { return m_ID; }
  std::string const& get_Name() const { return m_Name; }
  int get_Version() const { return m_Version; }

  bool operator==(TCNorvMailClassID const& Right) const;
  bool operator!=(TCNorvMailClassID const& Right) const { return !(*this == Right); }

 private:
  std::string m_Name;
  int m_Version;
  int m_ID;
};
