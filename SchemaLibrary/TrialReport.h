// SPDX-License-Identifier: MIT
// What the program that tries libraries tells the one that has started it.
//
// Its arguments are the version, the starter's process number, the bytes of memory that it may use,
// and the libraries. Each line of its report begins with one of these letters and a blank. Both
// programs are of one version of the product; the version is for a tree that was installed by half.
#pragma once

namespace Property::TrialReport {

constexpr char kVersion[] = "1";
constexpr int kFile = 3;            ///< the descriptor that reports go to
constexpr int kFirstLibrary = 4;    ///< among the arguments
constexpr char kGood = 'g';         ///< the next library is loaded
constexpr char kBad = 'b';          ///< it is not, and the others can be; why follows
constexpr char kFatal = 'f';        ///< it is not, and the process has to end; why follows
constexpr char kSchema = 's';       ///< the schema cannot be completed; why follows
constexpr char kComplete = 'c';     ///< all is well, and what is left is to end
constexpr int kWrongVersion = 120;  ///< exit code of a program of another version
constexpr int kCopy = 121;          ///< exit code of a copy that a library has made of the program
constexpr int kNoReport = 122;      ///< exit code of a program that cannot report

}  // namespace Property::TrialReport
