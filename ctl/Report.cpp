#include "ctl/Report.h"

#include "content/Hexadecimal.h"
#include "eeprom/EEPromHelper.h"
#include "eeprom/Eeprom.h"

namespace {

std::optional<bool> IsDeveloperBoard(const EepromContent& content) {
  if (content.developerByte == EEPromHelper::DeveloperBoardEnabled) return true;
  if (content.developerByte == EEPromHelper::DeveloperBoardDisabled) return false;
  return std::nullopt;
}

void PrintFile(const FileContent& file, std::ostream& output) {
  output << StateName(file.state);
  if (file.address) output << ", " << *file.size << " bytes at " << Hex(*file.address);
  if (file.checksum) output << ", " << file.data.size() << " of data, checksum " << Hex(*file.checksum);
  if (file.checksum != file.computedChecksum) output << ", computed " << Hex(*file.computedChecksum);
  if (file.room) output << ", room for " << *file.room << " bytes";
  output << '\n';
}

Json ToJson(const FileContent& file, std::size_t index) {
  return {{"type", index + 1},
          {"name", FileName(index)},
          {"state", StateName(file.state)},
          {"address", OrNull(file.address)},
          {"size", OrNull(file.size)},
          {"dataSize", file.checksum ? Json(file.data.size()) : Json()},
          {"checksum", OrNull(file.checksum)},
          {"computedChecksum", OrNull(file.computedChecksum)},
          {"room", OrNull(file.room)}};
}

}  // namespace

std::string RevisionText(const EepromContent& content) {
  return content.revision ? std::to_string(*content.revision) : "erased";
}

std::string DeveloperText(const EepromContent& content) {
  if (const auto isSet = IsDeveloperBoard(content)) return *isSet ? "on" : "off";
  return content.developerByte == Eeprom::ErasedByte ? "erased" : Hex(*content.developerByte, 2);
}

void PrintText(const EepromContent& content, std::ostream& output) {
  if (content.developerByte) {
    output << "revision: " << RevisionText(content) << '\n'
           << "developer board: " << DeveloperText(content) << '\n';
    for (std::size_t file = 0; file < content.files.size(); ++file) {
      output << FileTitle(file) << ": ";
      PrintFile(content.files[file], output);
    }
    output << "free: " << *content.freeBytes << " bytes\n";
  }
  for (const Finding& finding : content.findings) output << "problem: " << finding.text << '\n';
}

Json ToJson(const EepromContent& content) {
  Json files = Json::array();
  for (std::size_t file = 0; file < content.files.size(); ++file) {
    files.push_back(ToJson(content.files[file], file));
  }
  return {{"revision", OrNull(content.revision)},           {"developer", OrNull(IsDeveloperBoard(content))},
          {"developerByte", OrNull(content.developerByte)}, {"files", files},
          {"freeBytes", OrNull(content.freeBytes)},         {"problems", ToJson(content.findings)}};
}

Json ToJson(const std::vector<Finding>& findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    Json types = Json::array();
    for (const std::size_t file : finding.files) types.push_back(file + 1);
    list.push_back({{"id", finding.id}, {"text", finding.text}, {"files", types}});
  }
  return list;
}
