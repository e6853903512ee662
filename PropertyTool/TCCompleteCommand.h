// SPDX-License-Identifier: MIT
// property complete: what may stand next on a command line, for the shells' completions.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/TCToolCommand.h"
#include "PropertyTool/TCToolContext.h"

namespace Property {

/// Prints a candidate a line: commands, options, properties, choices. Knows the schema and asks no
/// server, but for the numbers that can be forgotten: only the server knows those, and it is not
/// waited for. Names that a shell would have to quote are left out.
class TCCompleteCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  CLI::App const& FindCommand() const;
  static void Offer(TCToolContext& Context, std::string const& Begin, std::string const& Text);
  void OfferOptions(TCToolContext& Context, CLI::App const& Command) const;
  void OfferCommands(TCToolContext& Context, CLI::App const& Command) const;
  void OfferNames(TCToolContext& Context, bool IsAssignment) const;
  static void OfferValues(TCToolContext& Context, std::string const& Name,
                          std::string const& Before, std::string const& Begin);

  void OfferForgettable(TCToolContext& Context) const;

  CLI::App* m_Tool = nullptr;
  std::vector<std::string> m_Words;
};

}  // namespace Property
