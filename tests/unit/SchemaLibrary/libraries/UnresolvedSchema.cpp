// SPDX-License-Identifier: MIT
// Refers to a function that is nowhere.
void NowhereDefined();

namespace {

bool const Called = (NowhereDefined(), true);

}  // namespace
