// SPDX-License-Identifier: MIT
// When the property server tells of a change.
#pragma once

namespace Property {

/// When a change is published and how long it may wait for the disk. It is acknowledged once it is
/// there, whatever is chosen here.
enum class TEDurability {
  eFull,    ///< published when it is on the disk, where it goes as soon as nothing else is to do
  eRelaxed  ///< published at once; on the disk within 20 ms
};

}  // namespace Property
