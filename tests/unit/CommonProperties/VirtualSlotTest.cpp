// SPDX-License-Identifier: MIT
// The places of the virtual operations, which subclasses that were built earlier rely on.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "gtest/gtest.h"

using Property::TCCommonPropertyChangeNotifier;
using Property::TCPropertyCollection;

namespace {

/// A pointer to a virtual operation, as the C++ ABI of the supported targets lays it out: the place
/// in the table of virtual operations, in bytes, and a mark. The mark is the lowest bit of the
/// place, except on ARM, where it is that of the adjustment.
struct TVirtualPointer {
  std::uintptr_t m_Place;
  std::ptrdiff_t m_Adjustment;
};

/// Which entry of the table `Operation` is; -1 when it is not virtual.
template <class TOperation>
int SlotOf(TOperation Operation) {
  TVirtualPointer Pointer;
  static_assert(sizeof(Pointer) == sizeof(Operation), "another layout than that of the ABI");
  std::memcpy(&Pointer, &Operation, sizeof(Pointer));
#if defined(__arm__) || defined(__aarch64__)
  bool const Virtual = (Pointer.m_Adjustment & 1) != 0;
  std::uintptr_t const Offset = Pointer.m_Place;
#else
  bool const Virtual = (Pointer.m_Place & 1) != 0;
  std::uintptr_t const Offset = Pointer.m_Place - 1;
#endif
  return Virtual ? static_cast<int>(Offset / sizeof(void*)) : -1;
}

struct TNotifierAccess : TCCommonPropertyChangeNotifier {
  static int SlotOfHook() { return SlotOf(&TNotifierAccess::OnPropQueued); }
};

}  // namespace

// A virtual destructor takes the first two places.
TEST(VirtualSlots, OfTheStoreFollowTheirOrder) {
  EXPECT_EQ(SlotOf(&TCPropertyCollection::DoSetSession), 2);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::DoDeleteSession), 3);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::DoLoadPropertyList), 4);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::OnPropertyChanged), 5);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::OnFetchProperty), 6);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::Notify), 7);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::CommitTransaction), 8);
  EXPECT_EQ(SlotOf(&TCPropertyCollection::OnPropertySet), 9);
}

TEST(VirtualSlots, OfANotifierFollowTheirOrder) {
  EXPECT_EQ(TNotifierAccess::SlotOfHook(), 2);
}

TEST(VirtualSlots, AreOfVirtualOperationsOnly) {
  EXPECT_EQ(SlotOf(&TCPropertyCollection::Clear), -1);
}
