// SPDX-License-Identifier: MIT
// Programs that have more rights than who starts them obey nobody's environment.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/integration/ProcessFixture.h"

namespace {

constexpr uid_t kNobody = 65534;
constexpr char kMAC[] = "0A:00:00:00:00:7B";

struct HostileEnvironment : TProcessFixture {
  // What the program at `Path` takes from an environment that sets everything.
  std::string Taken(std::string const& Path) const {
    TProcess Reader({Path}, {{"MAILROUTER_ADDRESS", "unix:path=/tmp/trap"},
                             {"PROPERTY_OWN_MAC", kMAC},
                             {"PROPERTY_DEBUG", "PROPERTY"}});
    std::string const Address = Reader.Hear();
    std::string const MAC = Reader.Hear() == kMAC ? "given device" : "own device";
    return Address + ", " + MAC + ", " + Reader.Hear();
  }
};

TEST_F(HostileEnvironment, IsObeyedByAProgramWithTheRightsOfWhoStartsIt) {
  EXPECT_EQ(Taken(READER_PROGRAM), "unix:path=/tmp/trap, given device, traces");
}

TEST_F(HostileEnvironment, IsNotObeyedByAProgramWithMoreRights) {
  std::string const Program = File("reader");
  std::filesystem::copy_file(READER_PROGRAM, Program);
  ASSERT_EQ(chown(Program.c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(chmod(Program.c_str(), 04755), 0);
  ASSERT_EQ(chmod(m_Folder.c_str(), 0755), 0);
  EXPECT_EQ(Taken(Program), "unix:path=/run/mailrouter/socket, own device, silent");
}

}  // namespace
