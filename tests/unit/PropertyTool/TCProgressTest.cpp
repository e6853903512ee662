// SPDX-License-Identifier: MIT
// The line of progress: where it is drawn, how wide it is, and that it goes.
#include "PropertyTool/TCProgress.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace {

using Property::TCProgress;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::chrono::milliseconds kAtOnce{0};
constexpr char kErased[] = "\r\x1b[K";

struct TCloser {
  void operator()(std::FILE* File) const { EXPECT_EQ(std::fclose(File), 0); }
};

// A pseudo-terminal, of which the test sees all that is written to it.
class TTerminal {
 public:
  explicit TTerminal(unsigned short Columns = 0)
      : m_Screen(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) {
    EXPECT_EQ(grantpt(m_Screen), 0);
    EXPECT_EQ(unlockpt(m_Screen), 0);
    m_File.reset(fopen(ptsname(m_Screen), "w"));
    EXPECT_NE(m_File, nullptr);
    winsize Size = {};
    Size.ws_col = Columns;
    EXPECT_EQ(ioctl(m_Screen, TIOCSWINSZ, &Size), 0);
  }
  TTerminal(TTerminal const&) = delete;
  TTerminal& operator=(TTerminal const&) = delete;
  ~TTerminal() { close(m_Screen); }

  std::FILE* get_File() const { return m_File.get(); }
  std::string Shown() const {
    std::string Text;
    char Bytes[4096];
    for (ssize_t Count = 0; (Count = read(m_Screen, Bytes, sizeof(Bytes))) > 0;) {
      Text.append(Bytes, static_cast<std::size_t>(Count));
    }
    return Text;
  }

 private:
  int const m_Screen;
  std::unique_ptr<std::FILE, TCloser> m_File;
};

struct TCProgressTest : testing::Test {
  TCProgressTest() {
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
  }
  // The first line that is drawn.
  static std::string Drawn(unsigned short Columns, std::size_t Count, std::size_t Total,
                           std::string const& Subject) {
    TTerminal const Terminal(Columns);
    TCProgress Progress(Terminal.get_File(), true, Subject, Total, kAtOnce);
    Progress.Reach(Count);
    return Terminal.Shown();
  }
  // All that is drawn and erased.
  static std::string DrawnInAll(TTerminal const& Terminal, bool Wanted = true) {
    TCProgress(Terminal.get_File(), Wanted, "values", 0, kAtOnce).Advance();
    return Terminal.Shown();
  }
};

TEST_F(TCProgressTest, CountsWhereNoEndIsKnown) {
  EXPECT_EQ(Drawn(80, 1, 0, "values"), std::string(kErased) + "1 values");
}

TEST_F(TCProgressTest, DrawsABarWhereTheEndIsKnown) {
  EXPECT_EQ(Drawn(80, 50, 100, "read"),
            kErased + ("[" + std::string(15, '#') + std::string(15, ' ') + "] 50 % read"));
  EXPECT_EQ(Drawn(80, 100, 100, "read"), kErased + ("[" + std::string(30, '#') + "] 100 % read"));
}

TEST_F(TCProgressTest, HasNoMoreThanAllDone) {
  EXPECT_THAT(Drawn(80, 101, 100, "read"), EndsWith("] 100 % read"));
}

TEST_F(TCProgressTest, LeavesTheBarOutOfANarrowTerminal) {
  EXPECT_EQ(Drawn(42, 50, 100, "read"), std::string(kErased) + "50 % read");
  EXPECT_THAT(Drawn(43, 50, 100, "read"), HasSubstr("####"));
}

TEST_F(TCProgressTest, CutsWhatIsStillTooWide) {
  EXPECT_EQ(Drawn(7, 50, 100, "read"), std::string(kErased) + "50 % r");
  EXPECT_EQ(Drawn(1, 50, 100, "read"), kErased);
}

TEST_F(TCProgressTest, TakesATerminalOfUnknownWidthForAnOrdinaryOne) {
  EXPECT_THAT(Drawn(0, 50, 100, std::string(100, 'x')),
              testing::Eq(kErased + ("50 % " + std::string(74, 'x'))));
}

TEST_F(TCProgressTest, IsGoneAtTheEnd) {
  TTerminal const Terminal;
  EXPECT_EQ(DrawnInAll(Terminal), kErased + ("1 values" + std::string(kErased)));
}

TEST_F(TCProgressTest, IsNotDrawnBeforeAMomentHasPassed) {
  TTerminal const Terminal;
  TCProgress(Terminal.get_File(), true, "values", 0, std::chrono::hours(1)).Advance();
  EXPECT_EQ(Terminal.Shown(), "");
}

TEST_F(TCProgressTest, IsNotDrawnWhereItIsNotWanted) {
  TTerminal const Terminal;
  EXPECT_EQ(DrawnInAll(Terminal, false), "");
  setenv("NO_COLOR", "1", 1);
  EXPECT_EQ(DrawnInAll(Terminal), "");
  setenv("NO_COLOR", "", 1);
  setenv("TERM", "dumb", 1);
  EXPECT_EQ(DrawnInAll(Terminal), "");
}

TEST_F(TCProgressTest, IsNotDrawnIntoAFile) {
  std::unique_ptr<std::FILE, TCloser> const File(std::tmpfile());
  TCProgress(File.get(), true, "values", 0, kAtOnce).Advance();
  EXPECT_EQ(std::ftell(File.get()), 0);
}

}  // namespace
