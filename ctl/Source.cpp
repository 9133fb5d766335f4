#include "ctl/Source.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "ctl/EepromContent.h"
#include "ctl/MemoryEeprom.h"
#include "eeprom/EEPromHelper.h"
#include "eeprom/EepromFinder.h"

unsigned short ChipAddress(const Arguments& arguments) {
  using EEPromHelper::EEPromLocation;
  return EEPromHelper::SlaveAddress(arguments.Has("goldcrest") ? EEPromLocation::GoldcrestBaseboard
                                                               : EEPromLocation::BaseboardDefault);
}

std::unique_ptr<Eeprom> OpenChip(std::shared_ptr<I2CBus> bus, unsigned short slave) {
  auto chip = EepromFinder::FindEeprom(std::move(bus), slave, Eeprom::EepromType::Cat24c256);
  if (!chip)
    throw Failure(ExitCode::NotAccessible, "board: EEPROM not accessible (\"brindlectl doctor\" says why)");
  return chip;
}

std::unique_ptr<Eeprom> OpenBoard(const Arguments& arguments, const Environment& environment) {
  return OpenChip(environment.getBus(), ChipAddress(arguments));
}

std::vector<unsigned char> ReadChip(Eeprom& chip) {
  std::vector<unsigned char> content(chip.GetSizeInBytes());
  const int size = static_cast<int>(content.size());
  if (chip.Read(0, content.data(), size) != size)
    throw Failure(ExitCode::Failed, "board: EEPROM not readable");
  return content;
}

std::vector<unsigned char> Confirmed(Eeprom& chip, std::vector<unsigned char> content) {
  std::array<unsigned char, Cat24c256Eeprom::PageSize> settings{};
  const int size = static_cast<int>(settings.size());
  constexpr int Readings = 4;
  for (int reading = 1; reading < Readings; ++reading) {
    const bool isRead = chip.Read(0, settings.data(), size) == size;
    const bool isSame = std::equal(settings.begin(), settings.end(), content.begin());
    if (isRead && isSame && Inspect(content).problems.empty()) return content;
    std::vector<unsigned char> again = ReadChip(chip);
    if (again == content) return content;
    content = std::move(again);
  }
  throw Failure(ExitCode::Failed, "board: EEPROM reads differently each time");
}

std::vector<unsigned char> ReadHostFile(const std::string& path, const Environment& environment) {
  std::ifstream file;
  if (path != "-") file.open(path, std::ios::binary);
  std::istream& input = path == "-" ? environment.input : file;
  std::vector<unsigned char> content(MemoryEeprom::Size + 1);
  input.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
  if (!input && !input.eof()) throw Failure(ExitCode::Failed, path + ": " + std::strerror(errno));
  content.resize(static_cast<std::size_t>(input.gcount()));
  return content;
}

std::vector<unsigned char> ReadSource(const std::string& source, const Arguments& arguments,
                                      const Environment& environment) {
  if (!source.empty() && source != "board") return ReadHostFile(source, environment);
  const auto chip = OpenBoard(arguments, environment);
  return Confirmed(*chip, ReadChip(*chip));
}

std::vector<unsigned char> ReadImage(const std::string& source, const Arguments& arguments,
                                     const Environment& environment) {
  std::vector<unsigned char> image = ReadSource(source, arguments, environment);
  if (image.size() != MemoryEeprom::Size) throw Failure(ExitCode::Failed, source + ": not 32768 bytes long");
  return image;
}
