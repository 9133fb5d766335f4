// What single pieces take, without a kernel or a board.
#include <benchmark/benchmark.h>

#include <array>
#include <vector>

#include "eeprom/ImageChecksum.h"
#include "i2c/TransactionalizedI2CBus.h"

namespace {

// Transfers take no time: what is left is the queue, the events and the change of threads.
class InstantBus final : public TransactionalizedI2CBus {
 public:
  void SetBusSpeed(unsigned int /*speed*/) override {}
  unsigned int GetBusSpeed() const override { return 0; }

 protected:
  void HandleTransaction(I2C::Transaction* transaction) override { transaction->success = true; }
};

void Checksum32KiB(benchmark::State& state) {
  const std::vector<unsigned char> image(32768, 0x5A);
  for (auto _ : state) benchmark::DoNotOptimize(ImageChecksum(image));
}
BENCHMARK(Checksum32KiB)->Unit(benchmark::kMicrosecond);

void QueuedTransfer(benchmark::State& state) {
  static InstantBus bus;
  std::array<unsigned char, 16> bytes{};
  for (auto _ : state) {
    if (bus.Read(bytes.data(), bytes.size(), 0x56, I2C::AddressMode::SevenBit) != bytes.size()) {
      state.SkipWithError("refused");
      break;
    }
  }
}
BENCHMARK(QueuedTransfer)->Threads(1)->Threads(2)->Threads(8)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
