// SPDX-License-Identifier: MIT
// How long an answer is kept, and in what.
#include "PropertyServer/TCKeptAnswer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "Platform/Utility/TCFileDescriptor.h"

namespace {

using Property::TCKeptAnswer;

constexpr std::chrono::microseconds kAtOnce{1};
constexpr std::size_t kLarge = 100000;  // more than travels inside a message

TCKeptAnswer::TCBody TextBody(std::string const& Text) {
  TCNorvMailBody::TCWriter Writer("s");
  Writer.BeginRecord(1);
  TSNorvFieldValue Value;
  Value.Code = 's';
  Value.Text = Text;
  Writer.AppendField(Value);
  return Writer.Finish();
}

ino_t FileOf(TCNorvMailBody const& Body) {
  TCFileDescriptor const File(Body.MakeMemoryFile());
  struct stat Status = {};
  EXPECT_EQ(fstat(File.get(), &Status), 0);
  return Status.st_ino;
}

class TCKeptAnswerTest : public ::testing::Test {
 protected:
  TCKeptAnswer::TCBody Get(TCKeptAnswer& Answer, std::size_t Size = 1) {
    return Answer.Get([&] {
      ++m_Made;
      return TextBody(std::string(Size, 'a'));
    });
  }

  TCNorvEventLoop m_Loop;
  int m_Made = 0;
};

TEST_F(TCKeptAnswerTest, IsMadeOnce) {
  TCKeptAnswer Answer(m_Loop);
  auto const First = Get(Answer);
  EXPECT_EQ(Get(Answer), First);
  EXPECT_EQ(m_Made, 1);
}

TEST_F(TCKeptAnswerTest, IsMadeAgainWhenItIsNoLongerTrue) {
  TCKeptAnswer Answer(m_Loop);
  auto const First = Get(Answer);
  Answer.Drop();
  EXPECT_NE(Get(Answer), First);
  EXPECT_EQ(m_Made, 2);
}

TEST_F(TCKeptAnswerTest, IsFreedWhenItsTimeIsOver) {
  TCKeptAnswer Answer(m_Loop, kAtOnce);
  std::weak_ptr<TCNorvMailBody const> const Kept = Get(Answer);
  EXPECT_FALSE(Kept.expired());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_TRUE(Kept.expired());
}

TEST_F(TCKeptAnswerTest, IsKeptAgainAfterItsTimeWasOver) {
  TCKeptAnswer Answer(m_Loop, kAtOnce);
  Get(Answer);
  EXPECT_TRUE(m_Loop.Turn());
  std::weak_ptr<TCNorvMailBody const> const Kept = Get(Answer);
  EXPECT_EQ(m_Made, 2);
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_TRUE(Kept.expired());
}

TEST_F(TCKeptAnswerTest, KeepsNothingOfWhatCouldNotBeMade) {
  TCKeptAnswer Answer(m_Loop);
  EXPECT_THROW(Answer.Get([]() -> TCKeptAnswer::TCBody { throw std::runtime_error("no"); }),
               std::runtime_error);
  EXPECT_NE(Get(Answer), nullptr);
  EXPECT_EQ(m_Made, 1);
}

TEST_F(TCKeptAnswerTest, LiesInTheFileThatIsSentWhenItIsLarge) {
  TCKeptAnswer Answer(m_Loop);
  auto const Body = Get(Answer, kLarge);
  EXPECT_EQ(Body->get_Bytes(), TextBody(std::string(kLarge, 'a'))->get_Bytes());
  EXPECT_EQ(FileOf(*Body), FileOf(*Body));
}

TEST_F(TCKeptAnswerTest, LiesInNoFileWhenItIsSmall) {
  TCKeptAnswer Answer(m_Loop);
  auto const Body = Get(Answer);
  TCFileDescriptor const First(Body->MakeMemoryFile());  // kept open: its number is not used again
  struct stat Status = {};
  ASSERT_EQ(fstat(First.get(), &Status), 0);
  EXPECT_NE(FileOf(*Body), Status.st_ino);
}

TEST_F(TCKeptAnswerTest, LeavesTheLoopWithItsOwner) {
  {
    TCKeptAnswer Answer(m_Loop, kAtOnce);
    Get(Answer);
  }
  EXPECT_FALSE(m_Loop.Turn(TCNorvEventLoop::TCTime::zero()));
}

}  // namespace
