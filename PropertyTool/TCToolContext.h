// SPDX-License-Identifier: MIT
// What a running command works with.
#pragma once

#include "PropertyTool/SchemaVerdicts.h"
#include "PropertyTool/TCNaming.h"
#include "PropertyTool/TCOutput.h"
#include "PropertyTool/TCSchemaRoom.h"
#include "PropertyTool/TSToolOptions.h"
#include "ServerClient/TCSecrets.h"
#include "ServerClient/TCServerConnection.h"

namespace Property {

/// Options, output, server and schema of one run. Not synchronised.
class TCToolContext {
 public:
  explicit TCToolContext(TSToolOptions const& Options)
      : m_Options(Options),
        m_Output(stdout, Options.Form),
        m_Server(Options.Address),
        m_Schema(Options.Schemas, [this] { return AskForVerdicts(m_Server); }),
        m_Naming(m_Schema),
        m_Secrets(m_Server, Options.ShowSecrets) {}
  TCToolContext(TCToolContext const&) = delete;
  TCToolContext& operator=(TCToolContext const&) = delete;

  TSToolOptions const& get_Options() const { return m_Options; }
  TCOutput& get_Output() { return m_Output; }
  TCServerConnection& get_Server() { return m_Server; }
  TCSchemaRoom& get_Schema() { return m_Schema; }
  TCNaming& get_Naming() { return m_Naming; }
  TCSecrets& get_Secrets() { return m_Secrets; }

 private:
  TSToolOptions const m_Options;
  TCOutput m_Output;
  TCServerConnection m_Server;
  TCSchemaRoom m_Schema;
  TCNaming m_Naming;
  TCSecrets m_Secrets;
};

}  // namespace Property
