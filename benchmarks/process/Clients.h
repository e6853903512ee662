// SPDX-License-Identifier: MIT
// The processes that use the product while it is measured.
#pragma once

#include <functional>
#include <string>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "benchmarks/BenchmarkSchema.h"
#include "benchmarks/support/Processes.h"
#include "benchmarks/support/Watcher.h"

namespace Benchmark {

/// Makes this process one of the product's: with a schema of `Size` integers, and its store loaded.
TSSchema const& Connect(int Size);

/// Waits until the server has stored and acknowledged every change of this process.
void WaitUntilDurable();

/// How many fields take turns in carrying the time of a change.
constexpr int kStampFields = 10;

/// The one that carries the time of change `Number`: its text is that time in nanoseconds.
Property::TCPropertyID const& StampField(TSSchema const& Schema, int Number);

/// Hands each change of the store to a function when it is in the queue, and empties the queue.
class TCChangeNotifier : public Property::TCCommonPropertyChangeNotifier {
 public:
  using TChanged = std::function<void(Property::TCCommonPropertyObject const&)>;

  /// Enabled at once.
  explicit TCChangeNotifier(TChanged Changed);
  ~TCChangeNotifier() override;

 protected:
  bool OnPropQueued() override;

 private:
  TChanged const m_Changed;
};

/// Waits for the signal that ends this process.
[[noreturn]] void WaitForEnd();

/// The body of a process that watches the changes of the stamp fields in a store of `Size`.
[[noreturn]] void WatchStamps(int Size, TCWatcher::TSeen const& Seen);

}  // namespace Benchmark
