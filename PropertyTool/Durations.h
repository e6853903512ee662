// SPDX-License-Identifier: MIT
// Spans and points of time as people write and read them.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace Property {

/// "90", "90s", "1.5m", "2h", "7d" or "500ms"; seconds where no unit is given. Null for anything
/// else, and for more than ten years.
std::optional<std::chrono::milliseconds> ReadDuration(std::string const& Text);

/// For options: what is wrong with the text of a duration; empty when it is one.
std::string CheckDuration(std::string const& Text);

/// Microseconds since 1970 as "2026-11-22T07:30:00.123456Z"; empty for 0.
std::string TimeText(long long Microseconds);

/// A point in time: as TimeText writes it, also without its end ("2026-11-22", "2026-11-22T07:30"),
/// or a duration, which is meant back from now. Microseconds since 1970; null for anything else.
std::optional<long long> ReadTime(std::string const& Text);

}  // namespace Property
