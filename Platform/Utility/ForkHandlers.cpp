// SPDX-License-Identifier: MIT
// One entry in the system's list of fork handlers for all of the libraries.
#include "Platform/Utility/ForkHandlers.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstddef>

namespace {

constexpr std::size_t kPlaces = static_cast<std::size_t>(TEForkPlace::eThread) + 1;

struct TSPlace {
  std::atomic<void (*)()> Prepare{nullptr};
  std::atomic<void (*)()> Parent{nullptr};
  std::atomic<void (*)()> Child{nullptr};
  std::atomic<bool> IsSet{false};
};
std::array<TSPlace, kPlaces> Places;

// Those that have prepared for the fork under way on this thread: what another thread sets in
// between has taken no lock that could be left.
thread_local std::array<bool, kPlaces> Prepared;

void Run(std::atomic<void (*)()> const& Handler) {
  if (auto* const Function = Handler.load(std::memory_order_relaxed)) {
    Function();
  }
}

void PrepareAll() {
  for (std::size_t Place = 0; Place < kPlaces; ++Place) {
    Prepared[Place] = Places[Place].IsSet.load(std::memory_order_acquire);
    if (Prepared[Place]) {
      Run(Places[Place].Prepare);
    }
  }
}

template <class TMember>
void EndAll(TMember Handler) {
  for (std::size_t Place = kPlaces; Place-- > 0;) {
    if (Prepared[Place]) {
      Run(Places[Place].*Handler);
    }
  }
}

void EndInParent() {
  EndAll(&TSPlace::Parent);
}

void EndInChild() {
  EndAll(&TSPlace::Child);
}

}  // namespace

bool SetForkHandlers(TEForkPlace Place, TSForkHandlers const& Handlers) noexcept {
  static bool const Watching = pthread_atfork(PrepareAll, EndInParent, EndInChild) == 0;
  TSPlace& Entry = Places[static_cast<std::size_t>(Place)];
  Entry.Prepare.store(Handlers.Prepare, std::memory_order_relaxed);
  Entry.Parent.store(Handlers.Parent, std::memory_order_relaxed);
  Entry.Child.store(Handlers.Child, std::memory_order_relaxed);
  Entry.IsSet.store(true, std::memory_order_release);
  return Watching;
}
