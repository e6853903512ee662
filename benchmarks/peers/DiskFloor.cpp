// SPDX-License-Identifier: MIT
// The floor of everything durable: a small record appended to a file and synchronised with the
// disk, on which TMPDIR decides as it does for the peers' databases.
#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace {

constexpr std::size_t kRecordSize = 64;

void Measure(Benchmark::TSEffort const& Effort) {
  Benchmark::TCPrivateFolder const Folder;
  int const File = open((Folder.get_Path() / "records").c_str(),
                        O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
  char const Record[kRecordSize] = {};
  auto const Append = [&](int) {
    if (write(File, Record, kRecordSize) != kRecordSize || fdatasync(File) != 0) {
      throw std::runtime_error("cannot append to a file");
    }
  };
  auto Times = Benchmark::TimeCalls(Effort.m_Durable, Append);
  close(File);
  Benchmark::Report({"disk", "fdatasync", "", "us"}, std::move(Times));
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "disk", Measure);
}
