// SPDX-License-Identifier: MIT
// Where this product's own files are, also when its tree was moved.
#pragma once

#include <string>

namespace Property {

/// The program that tries libraries: the one of the tree that the shared library with this code
/// lies in, or where it is in none, the running program; else the one of the place that the product
/// was built for.
std::string FindTrialProgram();

/// The folder of installed schemas, of the same tree. It may be missing.
std::string FindSchemaFolder();

}  // namespace Property
