// SPDX-License-Identifier: MIT
// The example in C, run with a real server.
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tests/integration/ProcessFixture.h"

namespace {

class BindingsExample : public TProcessFixture {
 protected:
  std::unique_ptr<TProcess> StartExample() const {
    std::string const Schema = File("gateway.so");
    std::filesystem::copy_file(GATEWAY_SCHEMA, Schema,
                               std::filesystem::copy_options::skip_existing);
    return std::make_unique<TProcess>(
        std::vector<std::string>{SETTINGS_C},
        std::map<std::string, std::string>{{"MAILROUTER_ADDRESS", Address()},
                                           {"PROPERTY_OWN_MAC", kThisDevice},
                                           {"PROPERTY_SCHEMA", Schema}});
  }
};

}  // namespace

TEST_F(BindingsExample, ShowsWhatOneOfThemHasSetInAnother) {
  auto const Server = StartServer();
  auto const First = StartExample();
  auto const Second = StartExample();
  std::string const Default = First->Hear();
  EXPECT_EQ(Second->Hear(), Default);
  First->Say("55");
  EXPECT_EQ(First->Hear(), "stored");
  EXPECT_EQ(First->Hear(), "brightness 55");
  EXPECT_EQ(Second->Hear(), "brightness 55");
  EXPECT_EQ(Second->End(), 0);
}

TEST_F(BindingsExample, SaysWhatIsNotAllowed) {
  std::ofstream(File("server.toml")) << "[limits]\nvalue_bytes = 3\n";
  auto const Server = StartServer({"--config", File("server.toml")});
  auto const Program = StartExample();
  Program->Hear();
  EXPECT_NE(Program->Ask("bright").find("'bright' is no whole number"), std::string::npos);
  EXPECT_NE(Program->Ask("7000").find("value_bytes"), std::string::npos);
}
