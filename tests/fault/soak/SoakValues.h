// SPDX-License-Identifier: MIT
// The properties that the soak's processes share, and values that say who wrote them.
#pragma once

#include <optional>
#include <string>
#include <tuple>

// Own properties are kept for the writer's device and written by one thread at a time: those of one
// record by whatever has the same place among the clients, those of others by one thread alone,
// which begins a new record now and then. Shared ones are written by everybody.
constexpr int kOwnText = 1001;
constexpr int kOwnNumber = 1002;
constexpr int kOwnMode = 1003;
constexpr int kSharedText = 2001;
constexpr int kSharedNumber = 2002;
constexpr int kSharedMode = 2003;
constexpr int kFence = 2004;
constexpr int kKept = 2005;  // of a record for each keeper, which alone writes it
constexpr char kNoValue[] = "-";
constexpr int kFirstChoice = 10;  // of own modes; those of shared modes follow
constexpr int kChoices = 4;
constexpr int kSharedLinks = 3;
constexpr int kStreamLinks = 10000;  // a stream's own begin at its number times this
constexpr int kThreadsAtMost = 2;    // of one writer

struct TSSoakKey {
  int Number = 0;
  int Link = 0;

  bool operator==(TSSoakKey const& Right) const {
    return Number == Right.Number && Link == Right.Link;
  }
  bool operator<(TSSoakKey const& Right) const {
    return std::tie(Number, Link) < std::tie(Right.Number, Right.Link);
  }
};

/// What identifies a value: the writing thread of one process, and the place among its changes.
/// Values of one transaction have the same stamp.
struct TSSoakStamp {
  int Stream = 0;
  int Counter = 0;
  int Padding = 0;  // further bytes of a text

  bool operator==(TSSoakStamp const& Right) const {
    return Stream == Right.Stream && Counter == Right.Counter && Padding == Right.Padding;
  }
  bool operator!=(TSSoakStamp const& Right) const { return !(*this == Right); }
};

/// Whether values of the property have stamps.
bool IsStamped(int Number);
/// A number has no padding.
std::string MakeValue(int Number, TSSoakStamp const& Stamp);
/// Nothing when MakeValue makes no such value of the property.
std::optional<TSSoakStamp> ReadValue(int Number, std::string const& Data);

std::string ToText(TSSoakKey const& Key);
std::string ToText(TSSoakStamp const& Stamp);
