// SPDX-License-Identifier: MIT
// Reads files as a whole, within bounds.
#include "PropertyTool/InputFiles.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

struct TCCloser {
  void operator()(std::FILE* File) const {
    if (File != stdin) {
      static_cast<void>(std::fclose(File));
    }
  }
};

}  // namespace

std::string ReadInputFile(std::string const& Name, std::size_t Limit) {
  std::unique_ptr<std::FILE, TCCloser> const File(Name == "-" ? stdin
                                                              : std::fopen(Name.c_str(), "rbe"));
  std::string Text;
  std::array<char, 65536> Bytes{};
  std::size_t Count = 1;
  while (File != nullptr && Count > 0 && Text.size() <= Limit) {
    Count = std::fread(Bytes.data(), 1, Bytes.size(), File.get());
    Text.append(Bytes.data(), Count);
  }
  if (File == nullptr || std::ferror(File.get()) != 0) {
    throw TCToolFailure(TEExit::eRefused, "cannot read " + Name + ": " + std::strerror(errno));
  }
  if (Text.size() > Limit) {
    throw TCToolFailure(TEExit::eRefused,
                        Name + " has more than " + std::to_string(Limit >> 20U) + " MiB");
  }
  return Text;
}

}  // namespace Property
