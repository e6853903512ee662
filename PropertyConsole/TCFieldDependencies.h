// SPDX-License-Identifier: MIT
// Whether a field applies, by the values of those that govern it.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "PropertyConsole/DeclaredDependencies.h"

namespace Property {

/// The dependencies of a schema that show and hide fields; those that propose values and limit
/// choices do neither (docs/decisions/0030-what-a-dependency-shows.md). Refers to the schema.
/// Unchanging; may be used by several threads.
class TCFieldDependencies {
 public:
  using TCFields = std::set<TCPropertyID const*>;
  /// What a field reads as in a record, empty for nothing; none where that is not told.
  using TCReading =
      std::function<std::optional<std::string>(TCPropertyID const&, std::optional<int>)>;

  explicit TCFieldDependencies(std::vector<TSDeclaredDependency> const& Declared);

  /// Whether the field applies in that record. Of fields that govern each other, only the values
  /// count.
  bool Applies(TCPropertyID const& Field, std::optional<int> Record, TCReading const& Read) const;
  /// Those that these govern, and those that govern these: directly or through others.
  TCFields GovernedBy(TCFields const& Fields) const;
  TCFields Governing(TCFields const& Fields) const;

 private:
  /// Something that has to be so of a governing field.
  struct TSCondition {
    std::optional<int> Choice;  ///< that it has; none: it is on, or not empty
    bool IsWanted = true;       ///< or is not so
  };
  using TCConditions = std::map<TCPropertyID const*, std::vector<TSCondition>>;
  using TCRound = std::vector<TCPropertyID const*>;
  using TCWays = std::map<TCPropertyID const*, TCFields>;

  void Add(TSDeclaredDependency const& Dependency);
  bool Applies(TCPropertyID const& Field, std::optional<int> Record, TCReading const& Read,
               TCRound& Above) const;
  static bool AnyHolds(TCPropertyID const& Source, std::vector<TSCondition> const& Conditions,
                       std::optional<std::string> const& Text);
  static TCFields Reach(TCFields const& Begin, TCWays const& Ways);

  std::map<TCPropertyID const*, TCConditions> m_Conditions;  // by target, of each source
  TCWays m_Governing;                                        // from target to sources
  TCWays m_Governed;                                         // from source to targets
};

}  // namespace Property
