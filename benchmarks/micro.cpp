// What single pieces take, without a kernel or a board.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <array>
#include <vector>

#include "eeprom/ImageChecksum.h"
#include "i2c/TransactionalizedI2CBus.h"

namespace {

// Transfers take no time: what is left is the queue, the events and the change of threads. The tests' bus
// bypasses the queue, and their clock stands still.
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

// Alone it takes two sleeps: the worker's for work and the caller's for the result. A third one would be a
// lock that one of them holds while the other needs it.
void QueuedTransfer(benchmark::State& state) {
  static InstantBus bus;
  std::array<unsigned char, 16> bytes{};
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_SELF, &before);
  for (auto _ : state) {
    if (bus.Read(bytes.data(), bytes.size(), 0x56, I2C::AddressMode::SevenBit) != bytes.size()) {
      state.SkipWithError("refused");
      break;
    }
  }
  getrusage(RUSAGE_SELF, &after);
  const auto sleeps = static_cast<double>(after.ru_nvcsw - before.ru_nvcsw);
  if (state.threads() == 1) state.counters["sleeps"] = {sleeps, benchmark::Counter::kAvgIterations};
}
BENCHMARK(QueuedTransfer)->Threads(1)->Threads(2)->Threads(8)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
