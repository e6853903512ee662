// SPDX-License-Identifier: MIT
// What a running command works with.
#pragma once

#include "PropertyTool/TCOutput.h"
#include "PropertyTool/TCServerConnection.h"
#include "PropertyTool/TSToolOptions.h"

namespace Property {

/// Options, output and server of one run. Not synchronised.
class TCToolContext {
 public:
  explicit TCToolContext(TSToolOptions const& Options)
      : m_Options(Options), m_Output(stdout, Options.Form), m_Server(Options.Address) {}

  TSToolOptions const& get_Options() const { return m_Options; }
  TCOutput& get_Output() { return m_Output; }
  TCServerConnection& get_Server() { return m_Server; }

 private:
  TSToolOptions const m_Options;
  TCOutput m_Output;
  TCServerConnection m_Server;
};

}  // namespace Property
