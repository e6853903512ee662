// SPDX-License-Identifier: MIT
// Which files paths of schemas mean.
#pragma once

#include <string>
#include <vector>

#include "SchemaLibrary/TSSchemaLibrary.h"

namespace Property {

/// The files that `Paths` mean, in the order of loading, each once, with what is known of them
/// before they are tried: whether they are there, and whether code from there may be loaded.
/// Folders stand for their *.so files in the order of their names. Those of a folder that is
/// missing are told as a file with a reason, unless `MayBeMissing`.
std::vector<TSSchemaLibrary> FindSchemaFiles(std::vector<std::string> const& Paths,
                                             bool MayBeMissing);

/// The path of the library with no links in it; empty when it is gone.
std::string RealPath(TSSchemaLibrary const& Library);

/// Which file is there now; its reason is empty, or says why code from there is not loaded.
TSSchemaLibrary LookAtSchemaFile(std::string const& File);

/// The parts between colons that are not empty.
std::vector<std::string> SplitPaths(std::string const& Paths);

}  // namespace Property
