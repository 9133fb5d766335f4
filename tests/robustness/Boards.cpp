#include "robustness/Boards.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace {

using Kind = Command::Kind;

constexpr std::size_t Block = 0x4000;  // the peripheral configuration file's reserved place
constexpr unsigned int FileArea = 0x40;

Bytes WithoutErasedBytes(Bytes data) {
  std::replace(data.begin(), data.end(), static_cast<unsigned char>(0xFF), static_cast<unsigned char>(0x7E));
  return data;
}

Command Write(unsigned int file, std::size_t length, unsigned int seed) {
  return {.kind = Kind::Write, .file = file, .host = Boards::Data(length, seed)};
}

Bytes Unlisted(Bytes const& image) {
  Bytes memory(ChipSize, 0xFF);
  std::copy(image.begin(), image.end(), memory.begin() + FileArea);
  return memory;
}

unsigned int ChecksumOf(Bytes const& data) {
  const Bytes image = StoreModel::Image(data);
  return image[0] + 256U * image[1];
}

Bytes Pair(unsigned int word) {
  return {static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8)};
}

// A block whose checksum is right for its whole length and also for the part before its first 0xFF byte, so
// that it is still readable once start-up has listed it: the last two bytes make it so. They enter the
// checksum's register by exclusive or with what stands in it, the inverse of the checksum of all before.
Bytes Adoptable() {
  Bytes data = WithoutErasedBytes(Boards::Data(700, 8));
  const unsigned int wanted = ChecksumOf(data);
  data.resize(Block - 4, 0xFF);
  unsigned int fromZero = 0;
  while (ChecksumOf(Pair(fromZero)) != wanted) ++fromZero;
  const Bytes last = Pair(fromZero ^ ~ChecksumOf(data));
  data.insert(data.end(), last.begin(), last.end());
  return Unlisted(StoreModel::Image(data));
}

std::vector<Boards::Board> MakeAll() {
  Bytes damaged = Boards::After({Write(0, 300, 1), Write(1, 200, 2), Write(2, 100, 3)});
  damaged[0x1C0 + 50] ^= 0x10;
  return {
      {"Erased", Bytes(ChipSize, 0xFF)},
      {"OneFile", Boards::After({Write(2, 200, 3)})},
      {"TwoFiles", Boards::After({Write(0, 500, 1), Write(1, 130, 2)})},
      {"ThreeFiles", Boards::After({Write(0, 300, 1), Write(1, 200, 2), Write(2, 100, 3)})},
      {"OutOfOrder", Boards::After({Write(0, 300, 1), Write(2, 200, 3), Write(1, 100, 2)})},
      {"DamagedFile", damaged},
      {"ListedAtStart", Adoptable()},
      {"RecognisedAtStart", Unlisted(StoreModel::Image(WithoutErasedBytes(Boards::Data(Block - 2, 9))))},
      {"Full", Boards::After({Write(0, 12'000, 1), Write(1, 12'000, 2), Write(2, 8574, 3)})},
  };
}

}  // namespace

Bytes Boards::Data(std::size_t length, unsigned int seed) {
  std::minstd_rand random(seed * 1000 + 1);
  Bytes data(length);
  std::generate(data.begin(), data.end(), [&random] { return static_cast<unsigned char>(random() >> 8); });
  return data;
}

Bytes Boards::After(std::vector<Command> const& commands) {
  Bytes memory(ChipSize, 0xFF);
  for (Command const& command : commands) {
    Expectation expected = StoreModel(std::move(memory)).Expect(command);
    if (expected.exit != 0) throw std::logic_error(command.Name() + " finds no room");
    memory = std::move(expected.memory);
  }
  return memory;
}

std::vector<Boards::Board> const& Boards::All() {
  static const std::vector<Board> boards = MakeAll();
  return boards;
}
