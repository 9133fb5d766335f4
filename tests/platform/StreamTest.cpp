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

struct Copy {
  const char* source;
  unsigned char flags;  // of the target, which holds "old"
  long count;
  long result;
  const char* target;  // afterwards
};

const Copy Copies[] = {{.source = "four", .flags = REPLACE, .count = 10, .result = 4, .target = "1234"},
                       {.source = "four", .flags = REPLACE, .count = 3, .result = 3, .target = "123"},
                       {.source = "four", .flags = REPLACE, .count = -1, .result = 0, .target = ""},
                       {.source = "missing", .flags = REPLACE, .count = 10, .result = -2, .target = ""},
                       {.source = "four", .flags = READ, .count = 2, .result = -4, .target = "old"}};

TEST_F(FileStreamTest, CopiesWhatOneReadOfTheSourceGave) {
  directory.File("four", "1234");
  for (const Copy& row : Copies) {
    FileStream source(directory / row.source, READ);
    FileStream file(directory.File("target", "old"), row.flags);
    Stream& target = file;
    EXPECT_EQ(target.Write(source, row.count), row.result);
    EXPECT_EQ(ContentOf(directory / "target"), row.target);
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

constexpr unsigned char APPEND = 0x04;
constexpr unsigned char AT_END = 0x10;
constexpr unsigned char UNKNOWN = 0xE0;

struct Opening {
  unsigned char flags;
  const char* content;  // of a file that held "kept", after "abc" was written
};

const Opening Openings[] = {{.flags = REPLACE, .content = "abc"},
                            {.flags = READ | WRITE, .content = "abct"},
                            {.flags = READ | WRITE | APPEND, .content = "keptabc"},
                            {.flags = WRITE | APPEND, .content = "keptabc"},
                            {.flags = READ | WRITE | AT_END, .content = "keptabc"},
                            {.flags = READ | REPLACE | UNKNOWN, .content = "abc"}};

TEST_F(FileStreamTest, OpensAsItsFlagsSay) {
  for (const Opening& row : Openings) {
    FileStream file(directory.File("file", "kept"), row.flags);
    EXPECT_EQ(file.Write(buffer, 3), 3);
    EXPECT_EQ(ContentOf(directory / "file"), row.content) << int{row.flags};
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

std::span<const unsigned char> Content(const ByteBuffer& buffer) {
  return {buffer.GetBuffer(), buffer.GetWritePosition()};
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
  EXPECT_THAT(Content(target), ElementsAre(9, 9, 1));
  target.Reset();
  EXPECT_EQ(source.Read(target, 2), 2U) << "no more were asked for";
  EXPECT_EQ(source.Read(target, 10), 1U) << "the source is empty";
  EXPECT_THAT(Content(target), ElementsAre(2, 3, 4));
}

TEST(ByteBuffer, BeginsAnewAfterAReset) {
  const unsigned char bytes[] = {1, 2, 3};
  ByteBuffer source(3);
  ByteBuffer target(3);
  source.Write(bytes, 3);
  EXPECT_EQ(source.Read(target, 2), 2U);
  source.Reset();
  EXPECT_EQ(source.GetReadPosition(), 0U);
  EXPECT_EQ(source.GetWritePosition(), 0U);
  EXPECT_EQ(source.Read(target, 1), 0U) << "what was stored does not count";
  EXPECT_EQ(source.Write(bytes + 1, 2), 2U);
  target.Reset();
  EXPECT_EQ(source.Read(target, 3), 2U);
  EXPECT_THAT(Content(target), ElementsAre(2, 3));
}

}  // namespace
