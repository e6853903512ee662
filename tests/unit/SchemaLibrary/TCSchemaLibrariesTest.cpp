// SPDX-License-Identifier: MIT
// Which files are found, which may be loaded, and what a process has of them.
#include "SchemaLibrary/TCSchemaLibraries.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "tests/unit/SchemaLibrary/LibraryFixture.h"

namespace {

using Property::TCPropertyID;
using Property::TCSchemaLibraries;
using Property::TSSchemaLibrary;
using TLines = std::vector<std::string>;

class TCSchemaLibrariesTest : public LibraryFixture {
 protected:
  TLines ToldAfterLoad(TLines const& Paths) const {
    TCSchemaLibraries Libraries(Paths, Settings());
    Libraries.Load();
    return Told(Libraries);
  }
};

TEST_F(TCSchemaLibrariesTest, LoadsTheLibrariesOfAFolderInTheOrderOfTheirNames) {
  Copy("Other", "b");
  Copy("Good", "a");
  Write("readme.txt", "no library");
  EXPECT_EQ(ToldAfterLoad({m_Folder}), (TLines{"a.so: loaded", "b.so: loaded"}));
  ASSERT_NE(TCPropertyID::Find(101), nullptr);
  EXPECT_EQ(TCPropertyID::Find(201)->get_Name(), "Enabled");
}

TEST_F(TCSchemaLibrariesTest, CompletesTheSchema) {
  ToldAfterLoad({Copy("Good")});
  ASSERT_NE(TCPropertyID::Find(101), nullptr);
  EXPECT_EQ(TCPropertyID::Find(101)->get_ClassID().get_Value(), 1);
}

TEST_F(TCSchemaLibrariesTest, LoadsTheGoodOnesBesideABadOne) {
  Copy("Crash", "a");
  Copy("Good", "b");
  Copy("Throw", "c");
  Copy("Other", "d");
  EXPECT_EQ(ToldAfterLoad({m_Folder}),
            (TLines{"a.so: it crashes: Segmentation fault", "b.so: loaded",
                    "c.so: while it is loaded, no licence\\x1b[31m found here", "d.so: loaded"}));
}

TEST_F(TCSchemaLibrariesTest, TellsThatANamedFileIsMissing) {
  EXPECT_EQ(ToldAfterLoad({m_Folder / "missing.so"}),
            (TLines{"missing.so: No such file or directory"}));
}

TEST_F(TCSchemaLibrariesTest, LoadsAFileOnceThatIsNamedTwice) {
  std::string const File = Copy("Good");
  std::filesystem::create_symlink(File, m_Folder / "Link.so");
  EXPECT_EQ(ToldAfterLoad({m_Folder / "Link.so", m_Folder, File}), (TLines{"Link.so: loaded"}));
}

TEST_F(TCSchemaLibrariesTest, LooksIntoTheVariableWhenNoPathsAreGiven) {
  std::string const Value = "::" + Copy("Good") + ":" + Copy("Other") + ":";
  setenv("PROPERTY_SCHEMA", Value.c_str(), 1);
  EXPECT_EQ(ToldAfterLoad({}), (TLines{"Good.so: loaded", "Other.so: loaded"}));
}

TEST_F(TCSchemaLibrariesTest, PrefersGivenPathsToTheVariable) {
  setenv("PROPERTY_SCHEMA", Copy("Good").c_str(), 1);
  EXPECT_EQ(ToldAfterLoad({Copy("Other")}), (TLines{"Other.so: loaded"}));
}

TEST_F(TCSchemaLibrariesTest, HasNoSchemaWithoutALibrary) {
  TCSchemaLibraries Libraries({m_Folder}, Settings());
  Libraries.Load();
  EXPECT_TRUE(Libraries.get_Libraries().empty());
  EXPECT_FALSE(Libraries.HasSchema());
}

TEST_F(TCSchemaLibrariesTest, TellsWhichFileANodeCameWith) {
  std::string const File = Copy("Good");
  TCSchemaLibraries Libraries({File}, Settings());
  Libraries.Load();
  EXPECT_EQ(Libraries.FindFile(101), File);
  EXPECT_EQ(Libraries.FindFile(0), "");
  EXPECT_EQ(Libraries.get_Libraries().at(0).Nodes, 2U);
  EXPECT_TRUE(Libraries.HasSchema());
}

// ---- whose files ----

TEST_F(TCSchemaLibrariesTest, RefusesAFileThatOthersCanWrite) {
  std::string const File = Copy("Good");
  chmod(File.c_str(), 0666);
  EXPECT_EQ(ToldAfterLoad({File}), (TLines{"Good.so: it can be written by other users"}));
}

TEST_F(TCSchemaLibrariesTest, RefusesAFileInAFolderThatOthersCanWrite) {
  std::string const File = Copy("Good", "open/Good");
  chmod((m_Folder / "open").c_str(), 0777);
  EXPECT_EQ(ToldAfterLoad({File}),
            (TLines{"open/Good.so: the folder open can be written by other users"}));
}

TEST_F(TCSchemaLibrariesTest, RefusesAFileThatAnotherUserOwns) {
  std::string const File = Copy("Good");
  ASSERT_EQ(chown(File.c_str(), 4711, 4711), 0);
  EXPECT_EQ(ToldAfterLoad({File}), (TLines{"Good.so: it is owned by the user 4711, not by root or "
                                           "the user who loads it"}));
}

TEST_F(TCSchemaLibrariesTest, RefusesAFileThatAnotherGroupCanWrite) {
  std::string const File = Copy("Good");
  ASSERT_EQ(chown(File.c_str(), geteuid(), 4711), 0);
  chmod(File.c_str(), 0664);
  EXPECT_EQ(ToldAfterLoad({File}), (TLines{"Good.so: it can be written by other users"}));
}

TEST_F(TCSchemaLibrariesTest, LoadsFromAFolderWhereOnlyOwnersRemoveFiles) {
  std::string const File = Copy("Good", "sticky/Good");
  chmod((m_Folder / "sticky").c_str(), 01777);
  EXPECT_EQ(ToldAfterLoad({File}), (TLines{"sticky/Good.so: loaded"}));
}

TEST_F(TCSchemaLibrariesTest, RefusesALinkToAFileThatOthersCanWrite) {
  std::string const File = Copy("Good");
  chmod(File.c_str(), 0666);
  std::filesystem::create_symlink(File, m_Folder / "Link.so");
  EXPECT_EQ(ToldAfterLoad({m_Folder / "Link.so"}),
            (TLines{"Link.so: it can be written by other users"}));
}

TEST_F(TCSchemaLibrariesTest, RefusesWhatIsNoRegularFileWithoutOpeningIt) {
  std::string const Pipe = m_Folder / "Pipe.so";
  ASSERT_EQ(mkfifo(Pipe.c_str(), 0600), 0);
  EXPECT_EQ(ToldAfterLoad({Pipe}), (TLines{"Pipe.so: it is no regular file"}));
}

// ---- again ----

TEST_F(TCSchemaLibrariesTest, LoadsWhatWasAddedAndCompletesItsSchema) {
  Copy("Good", "a");
  TCSchemaLibraries Libraries({m_Folder}, Settings());
  Libraries.Load();
  Copy("Other", "b");
  Copy("Clashing", "c");
  Libraries.Load();
  EXPECT_EQ(Told(Libraries),
            (TLines{"a.so: loaded", "b.so: loaded",
                    "c.so: while it is loaded, Property Contrast(101) is already defined as "
                    "Brightness(101) Integer Field"}));
  EXPECT_EQ(TCPropertyID::Find(201)->get_ClassID().get_Value(), 9);
}

TEST_F(TCSchemaLibrariesTest, KeepsWhatIsLoadedWhenItsFileChanges) {
  Copy("Good", "a");
  TCSchemaLibraries Libraries({m_Folder}, Settings());
  Libraries.Load();
  std::filesystem::remove(m_Folder / "a.so");
  Copy("Other", "a");
  Libraries.Load();
  EXPECT_EQ(Told(Libraries),
            (TLines{"a.so: loaded",
                    "a.so: another version of it is loaded; it takes a start to change that"}));
  EXPECT_EQ(TCPropertyID::Find(201), nullptr);
}

// Tried without what is loaded, it would pass, and end this process.
TEST_F(TCSchemaLibrariesTest, LoadsNothingMoreWhenTheFileOfALoadedLibraryIsGone) {
  Copy("Good", "a");
  TCSchemaLibraries Libraries({m_Folder}, Settings());
  Libraries.Load();
  std::filesystem::remove(m_Folder / "a.so");
  Copy("Clashing", "b");
  Libraries.Load();
  EXPECT_EQ(Told(Libraries), (TLines{"a.so: loaded",
                                     "b.so: it cannot be tried: a library that is loaded has "
                                     "changed or is gone; it takes a start"}));
}

TEST_F(TCSchemaLibrariesTest, SaysWhichFilesAreTooMany) {
  TLines const Paths = [this] {
    TLines Names;
    for (int Number = 0; Number < 1002; ++Number) {
      Names.push_back(m_Folder / (std::to_string(Number) + ".so"));
    }
    return Names;
  }();
  TLines const Lines = ToldAfterLoad(Paths);
  ASSERT_EQ(Lines.size(), 1001U);
  EXPECT_EQ(Lines[999], "999.so: No such file or directory");
  EXPECT_EQ(Lines[1000],
            "1000.so: it, and what comes behind it, is left out: there are more than 1000 files");
}

TEST_F(TCSchemaLibrariesTest, TriesAgainWhatWasRefusedWhenItHasChanged) {
  Copy("Throw", "a");
  TCSchemaLibraries Libraries({m_Folder}, Settings());
  Libraries.Load();
  std::filesystem::remove(m_Folder / "a.so");
  Copy("Good", "a");
  Libraries.Load();
  EXPECT_EQ(Told(Libraries), (TLines{"a.so: loaded"}));
}

// ---- verdicts of others ----

class SchemaVerdictTest : public LibraryFixture {
 protected:
  /// What is known of the library when another process, without a program to try it with, looks at
  /// it: only which file it is.
  TSSchemaLibrary Looked(std::string const& File, bool Loaded) const {
    TCSchemaLibraries Libraries({File}, WithoutProgram());
    Libraries.Load();
    TSSchemaLibrary Library = Libraries.get_Libraries().at(0);
    Library.Tried = true;
    Library.Loaded = Loaded;
    return Library;
  }
  static Property::TSSchemaTrialSettings WithoutProgram() {
    Property::TSSchemaTrialSettings None;
    None.Program = "/nowhere/property-schema-trial";
    return None;
  }
};

TEST_F(SchemaVerdictTest, LoadsWithoutATrialWhatIsKnownToBeGood) {
  std::string const File = Copy("Good");
  TCSchemaLibraries Libraries({File}, WithoutProgram());
  Libraries.Load({Looked(File, true)});
  EXPECT_EQ(Told(Libraries), (TLines{"Good.so: loaded"}));
}

TEST_F(SchemaVerdictTest, TakesOverWhyALibraryIsBad) {
  std::string const File = Copy("Good");
  TSSchemaLibrary Known = Looked(File, false);
  Known.Reason = "it hangs\x1b[31m";
  TCSchemaLibraries Libraries({File}, Settings());
  Libraries.Load({Known});
  EXPECT_EQ(Told(Libraries), (TLines{"Good.so: it hangs\\x1b[31m"}));
}

TEST_F(SchemaVerdictTest, TriesAFileThatHasChangedSince) {
  std::string const File = Copy("Good");
  TSSchemaLibrary const Known = Looked(File, true);
  Copy("Throw", "Good");
  TCSchemaLibraries Libraries({File}, Settings());
  Libraries.Load({Known});
  EXPECT_EQ(Told(Libraries),
            (TLines{"Good.so: while it is loaded, no licence\\x1b[31m found here"}));
}

TEST_F(SchemaVerdictTest, TriesAllWhenOneIsUnknown) {
  std::string const Good = Copy("Good", "a");
  TSSchemaLibrary const Known = Looked(Good, true);
  Copy("Clashing", "b");
  TCSchemaLibraries Libraries({m_Folder}, Settings());
  Libraries.Load({Known});
  EXPECT_EQ(Told(Libraries),
            (TLines{"a.so: loaded",
                    "b.so: while it is loaded, Property Contrast(101) is already defined as "
                    "Brightness(101) Integer Field"}));
}

TEST_F(SchemaVerdictTest, TriesAgainWhatWasTriedBesideOthers) {
  std::string const Good = Copy("Good");
  TSSchemaLibrary const Beside = Looked(Copy("Other"), true);
  TSSchemaLibrary Known = Looked(Good, false);
  Known.Reason = "it does not go with the other";
  TCSchemaLibraries Libraries({Good}, Settings());
  Libraries.Load({Beside, Known});
  EXPECT_EQ(Told(Libraries), (TLines{"Good.so: loaded"}));
}

TEST_F(SchemaVerdictTest, LooksAtTheOwnerOfWhatIsKnownToBeGood) {
  std::string const File = Copy("Good");
  TSSchemaLibrary const Known = Looked(File, true);
  chmod(File.c_str(), 0666);
  TCSchemaLibraries Libraries({File}, Settings());
  Libraries.Load({Known});
  EXPECT_EQ(Told(Libraries), (TLines{"Good.so: it can be written by other users"}));
}

}  // namespace
