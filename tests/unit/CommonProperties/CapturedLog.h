// SPDX-License-Identifier: MIT
// Takes system log lines and debug traces of one test in place of the system.
#pragma once

#include <syslog.h>

#include <mutex>
#include <string>
#include <vector>

#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/SystemLog.h"

/// Collects everything logged while it lives; traces of the property channel start switched off.
/// One at a time in a process; logging threads may be several.
class TCapturedLog {
 public:
  TCapturedLog() {
    Texts() = TTexts();
    m_WasEnabled = DEBUG_PROPERTY.get_Enabled();
    DEBUG_PROPERTY.set_Enabled(false);
    m_FormerSyslog = SetSyslogSink(&TCapturedLog::OnSyslog);
    m_FormerDebug = SetDebugSink(&TCapturedLog::OnDebug);
  }

  TCapturedLog(TCapturedLog const&) = delete;
  TCapturedLog& operator=(TCapturedLog const&) = delete;

  ~TCapturedLog() {
    SetDebugSink(m_FormerDebug);
    SetSyslogSink(m_FormerSyslog);
    DEBUG_PROPERTY.set_Enabled(m_WasEnabled);
  }

  void EnableTraces() { DEBUG_PROPERTY.set_Enabled(true); }

  std::vector<std::string> get_Warnings() const { return Copy(&TTexts::m_Warnings); }
  std::vector<std::string> get_Errors() const { return Copy(&TTexts::m_Errors); }
  /// Those of the property channel.
  std::vector<std::string> get_Traces() const { return Copy(&TTexts::m_Traces); }

 private:
  struct TTexts {
    std::vector<std::string> m_Warnings;
    std::vector<std::string> m_Errors;
    std::vector<std::string> m_Traces;
  };

  static TTexts& Texts() {
    static TTexts Result;
    return Result;
  }

  static std::mutex& Lock() {
    static std::mutex Result;
    return Result;
  }

  static std::vector<std::string> Copy(std::vector<std::string> TTexts::*Which) {
    std::lock_guard<std::mutex> Guard(Lock());
    return Texts().*Which;
  }

  static void OnSyslog(int Priority, std::string const& Text) {
    std::lock_guard<std::mutex> Guard(Lock());
    (Priority == LOG_ERR ? Texts().m_Errors : Texts().m_Warnings).push_back(Text);
  }

  static void OnDebug(TCDebugChannel const& Channel, std::string const& Text) {
    std::lock_guard<std::mutex> Guard(Lock());
    if (&Channel == &DEBUG_PROPERTY) {
      Texts().m_Traces.push_back(Text);
    }
  }

  bool m_WasEnabled;
  TSyslogSink m_FormerSyslog;
  TDebugSink m_FormerDebug;
};
