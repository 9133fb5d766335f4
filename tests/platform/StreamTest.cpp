#include <gmock/gmock.h>

#include <array>

#include "platform/ByteBuffer.h"
#include "platform/DirectoryLock.h"
#include "platform/FileStream.h"
#include "support/TempDirectory.h"

namespace {

using testing::ElementsAre;
using Data = std::vector<unsigned char>;

constexpr unsigned char READ = FileStream::READ;
constexpr unsigned char WRITE = FileStream::WRITE;
constexpr unsigned char REPLACE = FileStream::WRITE | FileStream::TRUNCATE;

class FileStreamTest : public testing::Test {
 protected:
  TempDirectory directory;
  unsigned char buffer[16] = {'a', 'b', 'c'};
};

TEST_F(FileStreamTest, IsAStreamNumberedThroughoutTheProcess) {
  const unsigned int next = Stream::nextID;
  EXPECT_EQ(FileStream("/dev/null", READ).GetID(), next);
  FileStream stream("/dev/null", READ);
  EXPECT_EQ(stream.GetID(), next + 1);
  EXPECT_THAT((std::array{stream.GetType(), stream.GetStatus(), stream.GetConnectivitySource()}),
              ElementsAre(0, 1, 0));
  EXPECT_FALSE(stream.Connected());
  stream.Open();
  stream.Stream::Close();
  EXPECT_FALSE(stream.Connected());
}

TEST_F(FileStreamTest, CopiesWhatOneReadOfTheSourceGave) {
  struct {
    char const* source;
    unsigned char targetFlags;
    long count, result;
    char const* written;
  } const cases[] = {{"four", REPLACE, 10, 4, "1234"}, {"four", REPLACE, 3, 3, "123"},
                     {"four", REPLACE, 0, 0, ""},      {"four", REPLACE, -1, 0, ""},
                     {"missing", REPLACE, 10, -2, ""}, {"four", READ, 2, -4, "old"}};
  directory.File("four", "1234");
  for (auto const& row : cases) {
    SCOPED_TRACE(&row - cases);
    FileStream source(directory / row.source, READ);
    FileStream target(directory.File("target", "old"), row.targetFlags);
    EXPECT_EQ(static_cast<Stream&>(target).Write(source, row.count), row.result);
    EXPECT_EQ(ContentOf(directory / "target"), row.written);
  }
}

TEST_F(FileStreamTest, ReadsUpToTheEnd) {
  const std::string path = directory.File("five", std::string("\0\r\n\xff\x1a", 5));
  FileStream stream(path, READ);
  EXPECT_TRUE(stream.Good());
  EXPECT_EQ(stream.Read(buffer, 2), 2);
  EXPECT_EQ(stream.GetFileSize(), 5);
  EXPECT_THAT(stream.Read(), ElementsAre('\n', 0xff, 0x1a));
  EXPECT_FALSE(stream.Good());
  EXPECT_EQ(stream.Read(buffer, 8), 0);
  EXPECT_EQ(stream.GetFileSize(), -1);
}

TEST_F(FileStreamTest, ReportsWhatCannotBeReadOrWritten) {
  FileStream missing(directory / "missing", READ);
  EXPECT_FALSE(missing.Good());
  EXPECT_EQ(missing.Read(buffer, 1), -2);
  EXPECT_EQ(missing.Write(buffer, 1), -4);
  EXPECT_EQ(FileStream("/dev/full", REPLACE).Write(buffer, 1), -2);

  const std::string path = directory.File("kept", "kept");
  EXPECT_EQ(FileStream(path, READ).Write(buffer, 1), -4);
  FileStream atEnd(path, READ | WRITE);
  EXPECT_EQ(atEnd.Read(buffer, 8), 4);
  EXPECT_EQ(atEnd.Write(buffer, 1), -3);
  EXPECT_EQ(ContentOf(path), "kept");
}

TEST_F(FileStreamTest, OpensAsItsFlagsSay) {
  const std::tuple<int, char const*> cases[] = {
      {REPLACE, "abc"},          {READ | WRITE, "abct"},           {READ | WRITE | 0x04, "keptabc"},
      {WRITE | 0x04, "keptabc"}, {READ | WRITE | 0x10, "keptabc"}, {READ | REPLACE | 0xE0, "abc"}};
  for (auto const& [flags, content] : cases) {
    const std::string path = directory.File("file", "kept");
    EXPECT_EQ(FileStream(path, static_cast<unsigned char>(flags)).Write(buffer, 3), 3);
    EXPECT_EQ(ContentOf(path), content) << flags;
  }
}

TEST_F(FileStreamTest, HandsEveryWriteToTheSystem) {
  const std::string path = directory.File("long", "a longer text");
  FileStream stream(path, REPLACE);
  EXPECT_EQ(stream.Write(Data{'a', 'b', 'c'}), 3);
  EXPECT_EQ(stream.Write(buffer, -1), 0);
  EXPECT_EQ(ContentOf(path), "abc");
  stream.Close();
  EXPECT_TRUE(stream.Good());
  stream.Close();
  EXPECT_FALSE(stream.Good());
}

TEST_F(FileStreamTest, MeasuresIn32Bits) {
  const std::string path = directory.File("sparse", "");
  const std::pair<std::uintmax_t, long> cases[] = {
      {0x7FFFFFFF, 0x7FFFFFFF}, {0x80000000, -0x80000000L}, {0x10000000A, 10}};
  for (auto const& [size, measured] : cases) {
    std::filesystem::resize_file(path, size);
    EXPECT_EQ(FileStream(path, READ).GetFileSize(), measured);
  }
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
  unsigned char const bytes[] = {1, 2, 3, 4, 5, 6};
  const auto held = [](ByteBuffer const& b) {
    return Data(b.GetBuffer(), b.GetBuffer() + b.GetWritePosition());
  };
  ByteBuffer source(4);
  EXPECT_EQ(source.GetCapacity(), 4U);
  EXPECT_EQ(source.Write(bytes, 3), 3U);
  EXPECT_EQ(source.Write(bytes + 3, 3), 1U);
  EXPECT_EQ(source.Write(bytes, 1) + source.FillBuffer(9, 1), 0U);
  EXPECT_THAT(held(source), ElementsAre(1, 2, 3, 4));

  ByteBuffer target(3);
  EXPECT_EQ(target.FillBuffer(9, 1), 1U);
  EXPECT_EQ(source.Read(target, 1), 1U);
  EXPECT_EQ(source.Read(target, 10), 1U);  // the target is full
  EXPECT_THAT(held(target), ElementsAre(9, 1, 2));
  EXPECT_EQ(source.GetReadPosition(), 2U);
  target.Reset();
  EXPECT_EQ(source.Read(target, 10), 2U);  // the source is empty
  EXPECT_THAT(held(target), ElementsAre(3, 4));
  source.Reset();
  EXPECT_EQ(source.GetReadPosition() + source.Read(target, 1), 0U);
  EXPECT_EQ(source.FillBuffer(0xFF, 10), 4U);
  EXPECT_THAT(held(source), testing::Each(0xFF));
}

}  // namespace
