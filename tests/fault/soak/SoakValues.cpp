// SPDX-License-Identifier: MIT
// Makes and reads values that say who wrote them.
#include "tests/fault/soak/SoakValues.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kChangesOfStream = 1000000;

// Bytes that no text of a message may have, so that the value needs a memory file.
std::string Padding(int Size) {
  std::string Bytes;
  for (int Place = 0; Place < Size; ++Place) {
    Bytes.push_back(static_cast<char>(Place * 7 % 256));
  }
  return Bytes;
}

}  // namespace

bool IsStamped(int Number) {
  return Number == kOwnText || Number == kOwnNumber || Number == kSharedText ||
         Number == kSharedNumber;
}

std::string MakeValue(int Number, TSSoakStamp const& Stamp) {
  if (Number == kOwnNumber || Number == kSharedNumber) {
    return std::to_string(Stamp.Stream * kChangesOfStream + Stamp.Counter);
  }
  std::string const Text = std::to_string(Stamp.Stream) + "." + std::to_string(Stamp.Counter);
  return Stamp.Padding == 0
             ? Text
             : Text + "+" + std::to_string(Stamp.Padding) + " " + Padding(Stamp.Padding);
}

std::optional<TSSoakStamp> ReadValue(int Number, std::string const& Data) {
  TSSoakStamp Stamp;
  if (Number == kOwnNumber || Number == kSharedNumber) {
    int const Value = std::atoi(Data.c_str());
    Stamp = {Value / kChangesOfStream, Value % kChangesOfStream, 0};
  } else {
    std::sscanf(Data.c_str(), "%9d.%9d+%9d", &Stamp.Stream, &Stamp.Counter, &Stamp.Padding);
  }
  // Whatever was read, it has to be the whole of the value.
  if (Stamp.Stream <= 0 || Stamp.Counter <= 0 || Stamp.Padding < 0 ||
      Stamp.Padding > static_cast<int>(Data.size()) || MakeValue(Number, Stamp) != Data) {
    return std::nullopt;
  }
  return Stamp;
}

std::string ToText(TSSoakKey const& Key) {
  return "property " + std::to_string(Key.Number) + " of record " + std::to_string(Key.Link);
}

std::string ToText(TSSoakStamp const& Stamp) {
  return std::to_string(Stamp.Stream) + "." + std::to_string(Stamp.Counter) +
         (Stamp.Padding == 0 ? "" : "+" + std::to_string(Stamp.Padding));
}
