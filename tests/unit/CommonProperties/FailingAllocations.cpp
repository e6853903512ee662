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

namespace {

void* Allocate(std::size_t Size, std::size_t Alignment) {
  if (t_Successes >= 0 && t_Successes-- == 0) {
    throw std::bad_alloc();
  }
  void* const Memory =
      Alignment == 0 ? std::malloc(Size != 0 ? Size : 1)
                     : std::aligned_alloc(Alignment, (Size + Alignment - 1) & ~(Alignment - 1));
  if (Memory == nullptr) {
    throw std::bad_alloc();
  }
  return Memory;
}

}  // namespace

// Not inlined, so that no compiler takes the pairs of malloc and operator delete for a mistake.
__attribute__((noinline)) void* operator new(std::size_t Size) {
  return Allocate(Size, 0);
}

__attribute__((noinline)) void* operator new(std::size_t Size, std::align_val_t Alignment) {
  return Allocate(Size, static_cast<std::size_t>(Alignment));
}

// The standard library's sorting asks this way, and does without: it never fails here.
__attribute__((noinline)) void* operator new(std::size_t Size, std::nothrow_t const&) noexcept {
  return std::malloc(Size != 0 ? Size : 1);
}

__attribute__((noinline)) void operator delete(void* Memory) noexcept {
  std::free(Memory);
}

__attribute__((noinline)) void operator delete(void* Memory, std::size_t) noexcept {
  std::free(Memory);
}

__attribute__((noinline)) void operator delete(void* Memory, std::align_val_t) noexcept {
  std::free(Memory);
}

__attribute__((noinline)) void operator delete(void* Memory, std::size_t,
                                               std::align_val_t) noexcept {
  std::free(Memory);
}
