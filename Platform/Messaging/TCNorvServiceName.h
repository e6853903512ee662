// SPDX-License-Identifier: MIT
// Address of a mailbox.
#pragma once

#include <string>

#include "Platform/PlatformExport.h"

/// Names a mailbox of this device's mail router and, where it matters, the process behind it.
/// A value type.
class PROPERTY_PLATFORM_EXPORT TCNorvServiceName {
 public:
  /// The mailbox `Mailbox` on this device; an empty `Process` means whoever owns it.
  static TCNorvServiceName MakeLocalProcess(std::string const& Mailbox, std::string const& Process);

  std::string const& get_Mailbox() const { return m_Mailbox; }
  std::string const& get_Process() const { return m_Process; }

  bool operator==(TCNorvServiceName const& Right) const;
  bool operator!=(TCNorvServiceName const& Right) const { return !(*this == Right); }

 private:
  TCNorvServiceName(std::string const& Mailbox, std::string const& Process);

  std::string m_Mailbox;
  std::string m_Process;
};
