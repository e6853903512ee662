// SPDX-License-Identifier: MIT
// Reads and writes times, always in UTC.
#include "PropertyTool/Durations.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

#include "Platform/Utility/TextConversions.h"

namespace Property {
namespace {

constexpr double kLongest = 10 * 366 * 86400.0;  // seconds
constexpr long long kMicroseconds = 1000000;

constexpr std::pair<char const*, double> kUnits[] = {
    {"ms", 0.001}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}};

}  // namespace

std::optional<std::chrono::milliseconds> ReadDuration(std::string const& Text) {
  std::size_t const End = Text.find_last_of("0123456789") + 1;
  std::string const Unit = Text.substr(End);
  double Factor = Unit.empty() ? 1 : 0;
  for (auto const& [Name, Seconds] : kUnits) {
    Factor = Unit == Name ? Seconds : Factor;
  }
  bool OK = false;
  double const Seconds = StringToDouble(Text.substr(0, End), OK) * Factor;
  if (!OK || Factor == 0 || Seconds < 0 || Seconds > kLongest) {
    return std::nullopt;
  }
  return std::chrono::milliseconds(static_cast<long long>(Seconds * 1000));
}

std::string CheckDuration(std::string const& Text) {
  return ReadDuration(Text)
             ? ""
             : "\"" + Text + "\" is no duration such as 10s or 5m, of ten years at most";
}

std::string TimeText(long long Microseconds) {
  if (Microseconds <= 0) {
    return std::string();
  }
  auto const Seconds = static_cast<std::time_t>(Microseconds / kMicroseconds);
  std::tm Time = {};
  gmtime_r(&Seconds, &Time);
  std::array<char, 32> Text{};
  std::strftime(Text.data(), Text.size(), "%Y-%m-%dT%H:%M:%S", &Time);
  std::string Fraction;
  return Text.data() + sprintf(Fraction, ".%06lldZ", Microseconds % kMicroseconds);
}

std::optional<long long> ReadTime(std::string const& Text) {
  bool const HasUnit = !Text.empty() && Text.back() >= 'a' && Text.back() <= 'z';
  if (auto const Duration = ReadDuration(Text); Duration && HasUnit) {
    auto const Now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(Now - *Duration).count();
  }
  for (char const* Form : {"%Y-%m-%d", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"}) {
    std::tm Time = {};
    char const* End = strptime(Text.c_str(), Form, &Time);
    long long Fraction = 0;
    if (End != nullptr && *End == '.') {
      ++End;
      for (long long Digit = kMicroseconds / 10; *End >= '0' && *End <= '9'; ++End, Digit /= 10) {
        Fraction += Digit * (*End - '0');
      }
    }
    if (End != nullptr && (*End == '\0' || std::string(End) == "Z")) {
      return static_cast<long long>(timegm(&Time)) * kMicroseconds + Fraction;
    }
  }
  return std::nullopt;
}

}  // namespace Property
