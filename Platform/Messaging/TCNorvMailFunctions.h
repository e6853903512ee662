// SPDX-License-Identifier: MIT
// Dispatch of received mails to member functions by their class.
#pragma once

#include <map>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/PlatformExport.h"

/// What a proxy hands received mails to.
class PROPERTY_PLATFORM_EXPORT TCNorvBasicMailFunctions {
 public:
  TCNorvBasicMailFunctions() = default;
  TCNorvBasicMailFunctions(TCNorvBasicMailFunctions const&) = delete;
  TCNorvBasicMailFunctions& operator=(TCNorvBasicMailFunctions const&) = delete;
  virtual ~TCNorvBasicMailFunctions();

  /// Handles `Mail`; false when its class is not known here, and the mail is ignored.
  virtual bool Parse(TCNorvMessage const& Mail) = 0;
};

/// Table from mail class to a handler of T. The target is not owned and must outlive the table.
/// Filled before the first mail arrives, read-only afterwards.
template <class T>
class TCNorvMailFunctions : public TCNorvBasicMailFunctions {
 public:
  explicit TCNorvMailFunctions(T* Target) : m_Target(Target) {}

  /// Sends mails of the class with the id `ClassID` to `Handler`; replaces an earlier handler.
  void Add(int ClassID, void (T::*Handler)(TCNorvMessage const&)) { m_Handlers[ClassID] = Handler; }

  bool Parse(TCNorvMessage const& Mail) override {
    auto const Handler = m_Handlers.find(Mail.get_MailClassID().get_ID());
    if (Handler == m_Handlers.end()) {
      return false;
    }
    (m_Target->*Handler->second)(Mail);
    return true;
  }

 private:
  std::map<int, void (T::*)(TCNorvMessage const&)> m_Handlers;
  T* m_Target;
};
