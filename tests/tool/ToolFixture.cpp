// SPDX-License-Identifier: MIT
// Input and output of the commands go through files, so that no pipe can be too small.
#include "tests/tool/ToolFixture.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr char kWithFiles[] =
    "input=$1 output=$2 errors=$3; shift 3; exec \"$@\" <\"$input\" >\"$output\" 2>\"$errors\"";

}  // namespace

std::ostream& operator<<(std::ostream& Stream, TRun const& Run) {
  return Stream << "exit " << Run.m_Exit << "\n" << Run.m_Output << "-- errors:\n" << Run.m_Errors;
}

std::string TToolFixture::Schema() const {
  std::filesystem::create_directory(File("schema"));
  std::string const Copy = File("schema/" + std::filesystem::path(TOOL_SCHEMA).filename().string());
  std::filesystem::copy_file(TOOL_SCHEMA, Copy, std::filesystem::copy_options::skip_existing);
  return Copy;
}

std::map<std::string, std::string> TToolFixture::Environment() const {
  std::map<std::string, std::string> Set = {{"MAILROUTER_ADDRESS", Address()},
                                            {"PROPERTY_OWN_MAC", kThisDevice},
                                            {"PROPERTY_SCHEMA", Schema()},
                                            {"NO_COLOR", ""},
                                            {"LC_ALL", "C.UTF-8"}};
  for (auto const& [Name, Value] : m_Set) {
    Set[Name] = Value;
  }
  return Set;
}

TRun TToolFixture::Tool(std::vector<std::string> const& Arguments, std::string const& Input) const {
  WriteFile("run.in", Input);
  std::vector<std::string> Command = {
      "/bin/sh",       "-c",        kWithFiles, "sh", File("run.in"), File("run.out"),
      File("run.err"), TOOL_PROGRAM};
  Command.insert(Command.end(), Arguments.begin(), Arguments.end());
  TProcess Process(Command, Environment());
  int const Exit = Process.End();
  return {Exit, ReadFile("run.out"), ReadFile("run.err")};
}

TRun TToolFixture::Shell(std::string const& Line, std::string const& Input) const {
  WriteFile("run.in", Input);
  std::string const Folder = std::filesystem::path(TOOL_PROGRAM).parent_path();
  TProcess Process({"/bin/sh", "-c", kWithFiles, "sh", File("run.in"), File("run.out"),
                    File("run.err"), "/bin/sh", "-c", "PATH=\"" + Folder + ":$PATH\"; " + Line},
                   Environment());
  int const Exit = Process.End();
  return {Exit, ReadFile("run.out"), ReadFile("run.err")};
}

std::unique_ptr<TProcess> TToolFixture::StartTool(std::vector<std::string> const& Arguments) const {
  std::vector<std::string> Command = {TOOL_PROGRAM};
  Command.insert(Command.end(), Arguments.begin(), Arguments.end());
  return std::make_unique<TProcess>(Command, Environment());
}

std::unique_ptr<TProcess> TToolFixture::StartFilledServer(std::vector<std::string> Options) const {
  WriteFile("server.toml", kSecretMotto);
  Options.insert(Options.end(), {"--config", File("server.toml")});
  auto Server = StartServer(Options);
  TRun const Own = Tool({"set", "Brightness=60", "Mode=night", "Motto=kept", "UserName[7]=Anna"});
  EXPECT_EQ(Own.m_Exit, 0) << Own;
  TRun const Other = Tool({"set", "Brightness=10", "--mac", kOtherDevice});
  EXPECT_EQ(Other.m_Exit, 0) << Other;
  return Server;
}

std::string TToolFixture::ReadFile(std::string const& Name) const {
  std::ifstream const Stream(File(Name), std::ios::binary);
  std::ostringstream Text;
  Text << Stream.rdbuf();
  return Text.str();
}

void TToolFixture::WriteFile(std::string const& Name, std::string const& Text) const {
  std::ofstream(File(Name), std::ios::binary) << Text;
}
