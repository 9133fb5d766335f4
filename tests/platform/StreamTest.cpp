#include <gmock/gmock.h>

#include <array>

#include "platform/ByteBuffer.h"
#include "platform/FileStream.h"
#include "support/TempDirectory.h"

namespace {

using testing::ElementsAre;
using Data = std::vector<unsigned char>;

constexpr unsigned char READ = FileStream::READ;
constexpr unsigned char WRITE = FileStream::WRITE;
constexpr unsigned char REPLACE = FileStream::WRITE | FileStream::TRUNCATE;

// Reads what `input` holds, or gives a result code; keeps what is written.
class ScriptedStream : public Stream {
 public:
  using Stream::Read;
  using Stream::Write;
  long Read(unsigned char* buffer, long count) override {
    const auto moved = std::min(static_cast<std::size_t>(count), input.size());
    std::copy_n(input.begin(), moved, buffer);
    return readResult < 0 ? readResult : static_cast<long>(moved);
  }
  long Write(unsigned char const* buffer, long count) override {
    output.emplace_back(buffer, buffer + count);
    return writeResult < 0 ? writeResult : count;
  }

  std::array<unsigned char, 4> input = {1, 2, 3, 4};
  std::vector<Data> output;
  long readResult = 0;
  long writeResult = 0;
};

TEST(Stream, IsNumberedThroughoutTheProcessAndStartsUnconnected) {
  const unsigned int next = Stream::nextID;
  EXPECT_EQ(ScriptedStream().GetID(), next);
  ScriptedStream stream;
  EXPECT_EQ(stream.GetID(), next + 1);
  EXPECT_THAT((std::array{stream.GetType(), stream.GetStatus(), stream.GetConnectivitySource()}),
              ElementsAre(0, 1, 0));
  EXPECT_FALSE(stream.Connected());
  stream.Open();
  EXPECT_TRUE(stream.Connected());
  stream.Close();
  EXPECT_FALSE(stream.Connected());
  unsigned char byte = 9;
  EXPECT_EQ(stream.Read(&byte, 1, std::chrono::microseconds(5)), -2);
  EXPECT_EQ(byte, 9);
}

TEST(Stream, CopiesWhatOneReadOfTheSourceGave) {
  struct {
    long count, readResult, writeResult, result;
    std::vector<Data> written;
  } const cases[] = {
      {10, 0, 0, 4, {{1, 2, 3, 4}}}, {3, 0, 0, 3, {{1, 2, 3}}}, {0, 0, 0, 0, {{}}},
      {-1, 0, 0, 0, {{}}},           {10, -3, 0, -3, {}},       {2, 0, -4, -4, {{1, 2}}},
  };
  for (auto const& row : cases) {
    ScriptedStream source;
    ScriptedStream target;
    source.readResult = row.readResult;
    target.writeResult = row.writeResult;
    EXPECT_EQ(target.Write(source, row.count), row.result);
    EXPECT_EQ(target.output, row.written);
  }
  ScriptedStream target;
  EXPECT_EQ(target.Write(Data{5, 6}), 2);
  EXPECT_EQ(target.output, std::vector<Data>({{5, 6}}));
}

class FileStreamTest : public testing::Test {
 protected:
  TempDirectory directory;
  unsigned char buffer[16] = {'a', 'b', 'c'};
};

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

TEST_F(FileStreamTest, HandsEveryWriteToTheSystem) {
  const std::string path = directory.File("long", "a longer text");
  FileStream stream(path, REPLACE);
  EXPECT_EQ(stream.Write(buffer, 3), 3);
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
  EXPECT_THAT(held(source), ElementsAre(0xFF, 0xFF, 0xFF, 0xFF));
}

}  // namespace
