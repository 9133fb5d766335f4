#include "eeprom/PosixEEpromHandler.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "eeprom/EepromFinder.h"
#include "eeprom/HostFile.h"
#include "eeprom/PlacementPlan.h"
#include "eeprom/StoredFiles.h"

namespace {

using File = EEPromHandler::FilesInEEProm;
using Bytes = std::vector<unsigned char>;

constexpr unsigned short FileAllocationTableSize = FileAllocationTable::EncodedSize;

constexpr char ApiCommandEnableDeveloperBit[] = "1";

constexpr std::size_t InformationBytes = 64;
constexpr std::size_t InformationLine = 16;
constexpr std::size_t InformationGroup = 4;

bool IsWordOfBoardBytes(unsigned short address) {
  return EEPromHelper::ValidByteSetAddress(address) &&
         EEPromHelper::ValidByteSetAddress(static_cast<unsigned short>(address + 1));
}

std::string InformationText(const std::array<unsigned char, InformationBytes>& bytes) {
  constexpr char Digits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += Digits[bytes[i] >> 4];
    text += Digits[bytes[i] & 0x0F];
    const std::size_t next = i + 1;
    if (next % InformationLine == 0) {
      text += "\r\n";
    } else {
      text += next % InformationGroup == 0 ? "  " : " ";
    }
  }
  return text;
}

}  // namespace

PosixEEpromHandler::PosixEEpromHandler(EEPromHelper::EEPromLocation location, std::shared_ptr<I2CBus> bus)
    : PosixEEpromHandler(EepromFinder::FindEeprom(std::move(bus), EEPromHelper::SlaveAddress(location),
                                                  Eeprom::EepromType::Cat24c256)) {}

PosixEEpromHandler::PosixEEpromHandler(std::unique_ptr<Eeprom> ownDevice) : device(std::move(ownDevice)) {
  if (device && ReadFileAllocationTable()) MakeFirstFileAsPeripheralConfig();
}

bool PosixEEpromHandler::IsEEPromAccessible() const {
  return device != nullptr;
}

bool PosixEEpromHandler::ReadFileAllocationTable() {
  std::array<unsigned char, FileAllocationTableSize> bytes{};
  const int count =
      device->Read(EEPromHelper::FileAllocationTableEntryOffset, bytes.data(), FileAllocationTableSize);
  if (count != FileAllocationTableSize) return false;
  table = FileAllocationTable::Decode(bytes);
  return true;
}

bool PosixEEpromHandler::WriteFileAllocationTable() {
  const auto bytes = table.Encode();
  const int count =
      device->Write(EEPromHelper::FileAllocationTableEntryOffset, bytes.data(), FileAllocationTableSize);
  ReadFileAllocationTable();
  return count == FileAllocationTableSize;
}

void PosixEEpromHandler::MakeFirstFileAsPeripheralConfig() {
  FileAllocationTableEntry& entry = table[File::PeripheralConfig];
  const bool isUsable = table.DescribesFile(File::PeripheralConfig);
  const bool isTornReservation =
      entry.Address == EEPromHelper::FilesInEEPromStartOffset && table.IsTorn(File::PeripheralConfig);
  if (isUsable && !isTornReservation) return;
  entry = FileAllocationTable::Reservation;
  const Bytes image = ReadCurrentFile(File::PeripheralConfig);
  const auto end = std::find(image.begin(), image.end(), Eeprom::ErasedByte);
  if (end == image.begin() || end == image.end()) return;
  entry.Size = static_cast<unsigned short>(end - image.begin());
  const FileAllocationTableEntry listed = entry;
  if (!WriteFileAllocationTable()) entry = listed;
}

unsigned short PosixEEpromHandler::GetFileStartAddress(FilesInEEProm file) const {
  return table.StartAddress(file);
}

std::optional<StoredImage> PosixEEpromHandler::ReadFile(FilesInEEProm file) const {
  std::optional<StoredImage> image = StoredFiles::Read(*device, table, file);
  if (image && !image->IsIntact()) image.reset();
  return image;
}

std::vector<unsigned char> PosixEEpromHandler::ReadCurrentFile(FilesInEEProm file) const {
  return ReadFile(file).value_or(StoredImage()).Bytes();
}

bool PosixEEpromHandler::WriteBytes(unsigned short address, const std::vector<unsigned char>& bytes) {
  const int length = static_cast<int>(bytes.size());
  return device->Write(address, bytes.data(), length) == length;
}

bool PosixEEpromHandler::Write(FilesInEEProm file, const std::vector<unsigned char>& data) {
  if (!FileAllocationTable::HasEntry(file)) return false;
  const Bytes image = StoredImage::Of(data).Bytes();
  StoredFiles files(*device, table);
  auto plan = PlacementPlan::Make(table, file, image.size(), device->GetSizeInBytes(), files);
  if (!plan || !files.AllDelivered()) return false;

  if (!WriteBytes(plan->Table()[file].Address, image)) return false;
  if (plan->Table() == table) return true;
  for (const File other : plan->Relocated()) {
    const Bytes& moved = files.Image(other).Bytes();
    const auto start = plan->AppendAddress(other, moved.size());
    if (start && WriteBytes(*start, moved)) plan->Place(other, *start, moved.size());
  }
  table = plan->Table();
  return WriteFileAllocationTable();
}

bool PosixEEpromHandler::Write(FilesInEEProm file, const std::string& path) {
  const auto content = HostFile::Read(path, device->GetSizeInBytes(), HostFile::Kind::Any);
  return content && Write(file, *content);
}

bool PosixEEpromHandler::Read(FilesInEEProm file, const std::string& path) {
  const auto image = ReadFile(file);
  return image && HostFile::Write(path, image->Data());
}

bool PosixEEpromHandler::Verify(FilesInEEProm file, const std::string& path) {
  constexpr unsigned long LongestFile = EEPromHelper::FreshEEPromValue - 1 - StoredImage::ChecksumSize;
  const auto expected = HostFile::Read(path, LongestFile, HostFile::Kind::Any);
  if (!expected) return false;
  const auto image = ReadFile(file);
  return image && std::ranges::equal(image->Data(), *expected);
}

std::optional<Bytes> PosixEEpromHandler::ReadDevice() const {
  Bytes bytes(device->GetSizeInBytes());
  const int size = static_cast<int>(bytes.size());
  if (device->Read(EEPromHelper::EEPromStartAddressOffset, bytes.data(), size) != size) return std::nullopt;
  return bytes;
}

bool PosixEEpromHandler::ReadAll(const std::string& path) {
  const auto image = ReadDevice();
  return image && HostFile::Write(path, *image);
}

bool PosixEEpromHandler::WriteAll(const std::string& path) {
  const unsigned long size = device->GetSizeInBytes();
  auto image = HostFile::Read(path, size, HostFile::Kind::Measurable);
  if (!image) return false;
  image->resize(size, Eeprom::ErasedByte);
  return WriteBytes(EEPromHelper::EEPromStartAddressOffset, *image);
}

bool PosixEEpromHandler::VerifyAll(const std::string& path) {
  const auto expected = HostFile::Read(path, device->GetSizeInBytes(), HostFile::Kind::Any);
  if (!expected) return false;
  const auto image = ReadDevice();
  return image && !image->empty() && *image == *expected;
}

bool PosixEEpromHandler::Erase() {
  return device->EraseAll();
}

unsigned char PosixEEpromHandler::ByteGet(unsigned short address) {
  unsigned char value = 0;
  if (EEPromHelper::ValidByteSetAddress(address)) device->Read(address, &value, 1);
  return value;
}

bool PosixEEpromHandler::ByteSet(unsigned short address, unsigned char value) {
  return EEPromHelper::ValidByteSetAddress(address) && device->Write(address, &value, 1) == 1;
}

bool PosixEEpromHandler::ByteSet(unsigned short address, const std::string& text, unsigned char base) {
  const int value = std::stoi(text, nullptr, base);
  return ByteSet(address, static_cast<unsigned char>(value));
}

unsigned short PosixEEpromHandler::WordGet(unsigned short address) {
  std::array<unsigned char, 2> bytes{};
  if (IsWordOfBoardBytes(address)) device->Read(address, bytes.data(), bytes.size());
  return static_cast<unsigned short>(bytes[0] | bytes[1] << 8);
}

bool PosixEEpromHandler::WordSet(unsigned short address, unsigned short value) {
  const std::array bytes = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8)};
  return IsWordOfBoardBytes(address) && device->Write(address, bytes.data(), bytes.size()) == bytes.size();
}

bool PosixEEpromHandler::WordSet(unsigned short address, const std::string& text, unsigned char base) {
  const int value = std::stoi(text, nullptr, base);
  return WordSet(address, static_cast<unsigned short>(value));
}

bool PosixEEpromHandler::BaseboardIdSet(unsigned short address, const std::string& text) {
  constexpr unsigned char Decimal = 10;
  return WordSet(address, text, Decimal);
}

bool PosixEEpromHandler::DeveloperBoardSet(unsigned short address, const std::string& text) {
  return ByteSet(address, text == ApiCommandEnableDeveloperBit ? EEPromHelper::DeveloperBoardEnabled
                                                               : EEPromHelper::DeveloperBoardDisabled);
}

bool PosixEEpromHandler::ReadBoardInformation(const std::string& path) {
  std::array<unsigned char, InformationBytes> bytes{};
  device->Read(EEPromHelper::EEPromStartAddressOffset, bytes.data(), bytes.size());
  const std::string text = InformationText(bytes);
  return HostFile::Write(path, {reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}
