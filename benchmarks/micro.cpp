// What single pieces take, without a kernel or a board.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <array>
#include <cerrno>
#include <thread>
#include <vector>

#include "chip/EmulatedChip.h"
#include "eeprom/Cat24c256Eeprom.h"
#include "eeprom/ImageChecksum.h"
#include "eeprom/PlacementPlan.h"
#include "i2c/TransactionalizedI2CBus.h"
#include "platform/EventFactory.h"

namespace {

constexpr std::uint64_t WriteCycle = 6'000'000;  // ns

std::uint64_t virtualTime = 0;

}  // namespace

// Every pause in this program ends at once, a write cycle later.
extern "C" int __wrap_pthread_cond_timedwait(pthread_cond_t* /*condition*/, pthread_mutex_t* /*mutex*/,
                                             timespec const* /*deadline*/) {
  virtualTime += WriteCycle;
  return ETIMEDOUT;
}

namespace {

using File = EEPromHandler::FilesInEEProm;
using Bytes = std::vector<unsigned char>;

constexpr int ImageSize = 32768;

// Queues as every bus does; a transfer takes no time.
class IdleBus final : public TransactionalizedI2CBus {
 public:
  void SetBusSpeed(unsigned int /*speed*/) override {}
  unsigned int GetBusSpeed() const override { return 0; }

 protected:
  void HandleTransaction(I2C::Transaction* transaction) override { transaction->success = true; }
};

// Calls the chip model on the caller's thread: what is left is the driver's own work and the model's.
class ModelBus final : public I2CBus {
 public:
  void SetBusSpeed(unsigned int /*speed*/) override {}
  unsigned int GetBusSpeed() const override { return 0; }
  int Read(unsigned char* buffer, unsigned int length, unsigned short, I2C::AddressMode) override {
    return chip.Read({buffer, length}, virtualTime);
  }
  int Write(unsigned char const* buffer, unsigned int length, unsigned short, I2C::AddressMode) override {
    return chip.Write({buffer, length}, virtualTime);
  }
  int WriteThenRead(unsigned char const* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                    unsigned int readLength, unsigned short, I2C::AddressMode) override {
    chip.Write({writeBuffer, writeLength}, virtualTime);
    return chip.Read({readBuffer, readLength}, virtualTime);
  }
  int WriteDelayRead(unsigned char const*, unsigned int, unsigned char*, unsigned int, unsigned short,
                     I2C::AddressMode, unsigned int) override {
    return 0;
  }
  bool Transact(I2C::Transaction*) override { return false; }
  bool Lock() override { return false; }
  bool Unlock() override { return false; }

 private:
  EmulatedChip chip;
};

Cat24c256Eeprom DriverOverModel() {
  return Cat24c256Eeprom(std::make_shared<I2CDevice>(std::make_shared<ModelBus>(), 0x56));
}

void Checksum32KiB(benchmark::State& state) {
  const Bytes image(ImageSize, 0x5A);
  for (auto _ : state) benchmark::DoNotOptimize(ImageChecksum(image));
}
BENCHMARK(Checksum32KiB)->Unit(benchmark::kMicrosecond);

void EventRoundTrip(benchmark::State& state) {
  const auto there = EventFactory::GetUniqueEvent(true);
  const auto back = EventFactory::GetUniqueEvent(true);
  std::thread other([&] {
    while (there->WaitOr(3) != 2) back->Signal(1);
  });
  for (auto _ : state) {
    there->Signal(1);
    back->WaitOr(1);
  }
  there->Signal(2);
  other.join();
}
BENCHMARK(EventRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

void QueuedTransfer(benchmark::State& state) {
  static IdleBus bus;
  std::array<unsigned char, 16> bytes{};
  for (auto _ : state) {
    if (bus.Read(bytes.data(), bytes.size(), 0x56, I2C::AddressMode::SevenBit) != bytes.size()) {
      state.SkipWithError("refused");
      break;
    }
  }
}
BENCHMARK(QueuedTransfer)->Threads(1)->Threads(2)->Threads(8)->UseRealTime()->Unit(benchmark::kMicrosecond);

void WriteWholeModel(benchmark::State& state) {
  Cat24c256Eeprom eeprom = DriverOverModel();
  const Bytes image(ImageSize, 0x5A);
  for (auto _ : state) {
    if (eeprom.Write(0, image.data(), ImageSize) != ImageSize) state.SkipWithError("refused");
  }
}
BENCHMARK(WriteWholeModel)->Unit(benchmark::kMicrosecond);

void ReadWholeModel(benchmark::State& state) {
  Cat24c256Eeprom eeprom = DriverOverModel();
  Bytes image(ImageSize);
  for (auto _ : state) {
    if (eeprom.Read(0, image.data(), ImageSize) != ImageSize) state.SkipWithError("refused");
  }
}
BENCHMARK(ReadWholeModel)->Unit(benchmark::kMicrosecond);

// The first file grows, so that the two behind it move.
void PlanPlacementOfThree(benchmark::State& state) {
  const FileAllocationTable table = {{{0x0040, 0x1000}, {0x1040, 0x2000}, {0x3040, 0x0800}}};
  for (auto _ : state) {
    const auto plan =
        PlanPlacement(table, ImageSize, File::PeripheralConfig, 0x1800, [](File) { return true; });
    if (!plan || plan->moving.size() != 2) state.SkipWithError("no such plan");
  }
}
BENCHMARK(PlanPlacementOfThree)->Unit(benchmark::kMicrosecond);

}  // namespace
