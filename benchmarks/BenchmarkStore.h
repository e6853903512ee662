// SPDX-License-Identifier: MIT
// A store without a server behind it, filled for a measurement.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyCollection.h"
#include "benchmarks/BenchmarkSchema.h"

namespace Benchmark {

/// Which stored value an operation is to touch.
struct TSTarget {
  Property::TCPropertyID const* m_ID;
  Accessories::TCRecordID m_Link;
};

/// The process's store. A commit applies a transaction's changes and notifies, and sends nothing.
class TCLocalStore : public Property::TCPropertyCollection {
 public:
  TCLocalStore() = default;

  std::list<Property::TCCommonPropertyObject> DoLoadPropertyList(
      Property::TCPropertyID const& ID) override;
  void CommitTransaction(Property::TCPropertyTransaction* Transaction) override;
};

/// The process's store with `Count` integer values of the device, and a tenth of `Count`, but at
/// most one for each field, of each other kind; filled anew when `Count` differs from the last
/// call's. The schema has at most 10,000 fields of a kind; more values belong to more records.
class TCFilledStore {
 public:
  static TCFilledStore& WithValues(int Count);

  TSSchema const& get_Schema() const { return m_Schema; }
  /// The integer values in a random order, the same in every run.
  std::vector<TSTarget> const& get_Integers() const { return m_Integers; }
  /// The same of one of the schema's other kinds.
  std::vector<TSTarget> const& get_Texts() const { return m_Texts; }
  std::vector<TSTarget> const& get_Booleans() const { return m_Booleans; }
  std::vector<TSTarget> const& get_Choices() const { return m_Choices; }
  std::vector<TSTarget> const& get_Validated() const { return m_Validated; }
  std::vector<TSTarget> const& get_SystemWide() const { return m_SystemWide; }

 private:
  TCFilledStore();
  void Fill(int Count);

  TSSchema const& m_Schema;
  TCLocalStore& m_Store;
  int m_Count = 0;
  std::vector<TSTarget> m_Integers;
  std::vector<TSTarget> m_Texts;
  std::vector<TSTarget> m_Booleans;
  std::vector<TSTarget> m_Choices;
  std::vector<TSTarget> m_Validated;
  std::vector<TSTarget> m_SystemWide;
};

}  // namespace Benchmark
