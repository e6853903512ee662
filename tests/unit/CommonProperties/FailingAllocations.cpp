// SPDX-License-Identifier: MIT
// Replaces the allocation functions of the test program, whose other allocations never fail.
#include "FailingAllocations.h"

#include <cstdlib>

namespace {

thread_local int t_Successes = -1;  // negative: no failure is wanted

}  // namespace

TFailingAllocation::TFailingAllocation(int Successes) {
  t_Successes = Successes;
}

TFailingAllocation::~TFailingAllocation() {
  t_Successes = -1;
}

bool TFailingAllocation::HasFailed() const {
  return t_Successes < 0;
}

// Not inlined, so that no compiler takes the pairs of malloc and operator delete for a mistake.
__attribute__((noinline)) void* operator new(std::size_t Size) {
  if (t_Successes >= 0 && t_Successes-- == 0) {
    throw std::bad_alloc();
  }
  if (void* const Memory = std::malloc(Size != 0 ? Size : 1)) {
    return Memory;
  }
  throw std::bad_alloc();
}

__attribute__((noinline)) void operator delete(void* Memory) noexcept {
  std::free(Memory);
}

__attribute__((noinline)) void operator delete(void* Memory, std::size_t) noexcept {
  std::free(Memory);
}
