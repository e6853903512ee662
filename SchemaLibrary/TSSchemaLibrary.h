// SPDX-License-Identifier: MIT
// One file of schemas: which one it is, and what became of it.
#pragma once

#include <cstddef>
#include <string>

namespace Property {

/// A plain value. The file is the same one as long as device, inode, time and size are.
struct TSSchemaLibrary {
  std::string File;  ///< as it was found: may be a link, and is from outside
  unsigned long long Device = 0;
  unsigned long long Inode = 0;
  long long Changed = 0;  ///< nanoseconds since 1970
  long long Size = 0;
  bool Tried = false;  ///< whether a trial has decided: the verdict holds for this content
  bool Loaded = false;
  std::string Reason;     ///< why it is not loaded; fit for a terminal
  std::size_t Nodes = 0;  ///< how many schema nodes came with it
};

/// Whether both are the same content of the same file, wherever it was found.
inline bool IsSameFile(TSSchemaLibrary const& Left, TSSchemaLibrary const& Right) {
  return Left.Device == Right.Device && Left.Inode == Right.Inode &&
         Left.Changed == Right.Changed && Left.Size == Right.Size;
}

}  // namespace Property
