// SPDX-License-Identifier: MIT
// Runs a fuzzer's inputs without libFuzzer: each file of a folder, and each small one cut short at
// every byte and with every byte changed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* Data, std::size_t Size);

namespace {

constexpr std::size_t kDamagedSize = 400;

void Run(std::string const& Input) {
  LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(Input.data()), Input.size());
}

}  // namespace

int main(int Count, char** Arguments) {
  if (Count != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", Arguments[0]);
    return 2;
  }
  std::vector<std::filesystem::path> Files;
  for (auto const& Entry : std::filesystem::directory_iterator(Arguments[1])) {
    Files.push_back(Entry.path());
  }
  std::sort(Files.begin(), Files.end());
  std::size_t Runs = 0;
  for (std::filesystem::path const& File : Files) {
    std::ifstream Stream(File, std::ios::binary);
    std::string const Input{std::istreambuf_iterator<char>(Stream), {}};
    Run(Input);
    ++Runs;
    for (std::size_t Place = 0; Input.size() <= kDamagedSize && Place < Input.size(); ++Place) {
      Run(Input.substr(0, Place));
      std::string Damaged = Input;
      Damaged[Place] = static_cast<char>(Damaged[Place] ^ 0x21);
      Run(Damaged);
      Runs += 2;
    }
  }
  std::printf("%zu files, %zu inputs\n", Files.size(), Runs);
  return Files.empty() ? 1 : 0;  // a corpus that is not found proves nothing
}
