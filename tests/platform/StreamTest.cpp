#include <gmock/gmock.h>

#include <span>

#include "platform/ByteBuffer.h"
#include "platform/DirectoryLock.h"
#include "platform/FileStream.h"
#include "support/TempDirectory.h"

namespace {

using testing::ElementsAre;

constexpr unsigned char READ = FileStream::READ;
constexpr unsigned char WRITE = FileStream::WRITE;
constexpr unsigned char REPLACE = FileStream::WRITE | FileStream::TRUNCATE;

struct FileStreamTest : testing::Test {
  TempDirectory directory;
  unsigned char buffer[16] = {'a', 'b', 'c'};
};

TEST_F(FileStreamTest, IsAStreamNumberedThroughoutTheProcess) {
  const unsigned int next = Stream::nextID;
  EXPECT_EQ(FileStream("/dev/null", READ).GetID(), next);
  FileStream stream("/dev/null", READ);
  EXPECT_EQ(stream.GetID(), next + 1);
  stream.Open();
  stream.Stream::Close();
  EXPECT_FALSE(stream.Connected());
}

TEST_F(FileStreamTest, CopiesWhatOneReadOfTheSourceGave) {
  directory.File("four", "1234");
  const std::tuple<const char*, unsigned char, long, long, const char*> cases[] = {
      {"four", REPLACE, 10, 4, "1234"},
      {"four", REPLACE, 3, 3, "123"},
      {"four", REPLACE, -1, 0, ""},
      {"missing", REPLACE, 10, -2, ""},
      {"four", READ, 2, -4, "old"}};
  for (const auto& [name, flags, count, result, written] : cases) {
    FileStream source(directory / name, READ);
    FileStream target(directory.File("target", "old"), flags);
    EXPECT_EQ(static_cast<Stream&>(target).Write(source, count), result);
    EXPECT_EQ(ContentOf(directory / "target"), written);
  }
}

TEST_F(FileStreamTest, ReadsUpToTheEnd) {
  FileStream stream(directory.File("five", std::string("\0\r\n\xff\x1a", 5)), READ);
  EXPECT_TRUE(stream.Good());
  EXPECT_EQ(stream.Read(buffer, 2), 2);
  EXPECT_EQ(stream.GetFileSize(), 5);
  EXPECT_THAT(stream.Read(), ElementsAre('\n', 0xff, 0x1a));
  EXPECT_FALSE(stream.Good());
  EXPECT_EQ(stream.Read(buffer, 8), 0);
  EXPECT_EQ(stream.GetFileSize(), -1);
}

TEST_F(FileStreamTest, ReportsWhatCannotBeReadOrWritten) {
  EXPECT_FALSE(FileStream(directory / "missing", READ).Good());
  EXPECT_EQ(FileStream("/dev/full", REPLACE).Write(buffer, 1), -2);
  FileStream atEnd(directory.File("kept", "kept"), READ | WRITE);
  EXPECT_EQ(atEnd.Read(buffer, 8), 4);
  EXPECT_EQ(atEnd.Write(buffer, 1), -3);
  EXPECT_EQ(ContentOf(directory / "kept"), "kept");
}

TEST_F(FileStreamTest, OpensAsItsFlagsSay) {
  const std::pair<unsigned char, const char*> cases[] = {
      {REPLACE, "abc"},          {READ | WRITE, "abct"},           {READ | WRITE | 0x04, "keptabc"},
      {WRITE | 0x04, "keptabc"}, {READ | WRITE | 0x10, "keptabc"}, {READ | REPLACE | 0xE0, "abc"}};
  for (const auto& [flags, content] : cases) {
    EXPECT_EQ(FileStream(directory.File("file", "kept"), flags).Write(buffer, 3), 3);
    EXPECT_EQ(ContentOf(directory / "file"), content) << int{flags};
  }
}

TEST_F(FileStreamTest, HandsEveryWriteToTheSystem) {
  FileStream stream(directory.File("long", "a longer text"), REPLACE);
  EXPECT_EQ(stream.Write(std::vector<unsigned char>{'a', 'b', 'c'}), 3);
  EXPECT_EQ(stream.Write(buffer, -1), 0);
  EXPECT_EQ(ContentOf(directory / "long"), "abc");
  stream.Close();
  EXPECT_TRUE(stream.Good());
  stream.Close();
  EXPECT_FALSE(stream.Good());
}

TEST(DirectoryLock, IsHeldByOneAtATime) {
  const TempDirectory directory;
  for (int round = 0; round < 2; ++round) {
    DirectoryLock first;
    EXPECT_TRUE(first.Acquire(directory / ".", 0));
    EXPECT_FALSE(DirectoryLock().Acquire(directory / ".", 0));
  }
  EXPECT_TRUE(DirectoryLock().Acquire(directory / "missing", 0));
  EXPECT_FALSE(DirectoryLock().Acquire(directory.File("file", ""), 0));
}

TEST(ByteBuffer, MovesWhatFitsAndSaysHowMuch) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6};
  ByteBuffer source(4);
  ByteBuffer target(3);
  EXPECT_EQ(source.Write(bytes, 3), 3U);
  EXPECT_EQ(source.Write(bytes + 3, 3), 1U);
  EXPECT_EQ(source.FillBuffer(9, 1), 0U);
  EXPECT_EQ(target.FillBuffer(9, 2), 2U);
  EXPECT_EQ(source.Read(target, 10), 1U) << "the target is full";
  EXPECT_THAT(std::span(target.GetBuffer(), target.GetWritePosition()), ElementsAre(9, 9, 1));
  target.Reset();
  EXPECT_EQ(source.Read(target, 10), 3U) << "the source is empty";
  EXPECT_THAT(std::span(target.GetBuffer(), target.GetWritePosition()), ElementsAre(2, 3, 4));
}

}  // namespace
