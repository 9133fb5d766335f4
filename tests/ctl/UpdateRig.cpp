#include "ctl/UpdateRig.h"

#include <algorithm>
#include <filesystem>

#include "support/Catalogue.h"

namespace {

using Catalogue::After, Catalogue::Data, Catalogue::Write;

const Bytes Upgrade = Data(250, 250);

std::vector<Command> Commands(const Bytes& upgrade, const std::string& setting) {
  return {Write(0, 100, 3),
          {.word = "/W", .file = 1, .host = upgrade},
          Write(2, 70, 7),
          {.word = "/BS", .value = setting},
          {.word = "/DS", .value = setting}};
}

// File 1 fills the reserved place, and no table entry is needed to find it.
Bytes UnlistedFile() {
  const auto isUnlisted = [](const Catalogue::Contents& each) { return each.name == "RecognisedAtStart"; };
  return std::ranges::find_if(Catalogue::Eeproms(), isUnlisted)->memory;
}

Bytes ListedFile() {
  return After({Catalogue::WriteLargestFirstFile(), Write(2, 300, 5)});
}

// Old() with bytes that belong to no file, as a chip has them after files were moved.
Bytes WithUnusedBytes() {
  constexpr std::ptrdiff_t Unused = 30'000;
  Bytes memory = UpdateRig::Old();
  std::ranges::copy(Data(2000, 4), memory.begin() + Unused);
  return memory;
}

const Command OtherUpgrade = {.word = "/W", .file = 1, .host = Data(200, 9)};
const std::vector<Command> ChangeCommands = {
    {.word = "/W", .file = 1, .host = Upgrade}, {.word = "/BS", .value = "2"}, {.word = "/DS", .value = "0"}};
const Command DeveloperOn = {.word = "/DS", .value = "1"};

}  // namespace

void UpdateRig::SetUp() {
  Load(Old());
  File("target", New());
  File("upgrade", Upgrade);
  File("other", After(Commands(OtherUpgrade.host, "2")));
}

Bytes UpdateRig::Old() {
  return After(Commands(Data(200, 200), "1"));
}

Bytes UpdateRig::New() {
  return After(Commands(Upgrade, "2"));
}

UpdateCase UpdateRig::ImageCase() {
  return UpdateCases().front();
}

UpdateRig::QuietRun UpdateRig::RunQuietly(const UpdateCase& update) {
  constexpr std::size_t AddressSize = 2;
  Load(update.before);
  bus->messages.clear();
  bus->records = true;
  EXPECT_EQ(Update(update), 0) << messages;
  bus->records = false;
  EXPECT_TRUE(Holds(update.after));
  QuietRun run;
  run.isPageWrite.push_back(false);
  for (const ChipBus::Message& message : bus->messages) {
    const bool isPageWrite = !message.isRead && message.bytes.size() > AddressSize;
    ++run.messages;
    run.isPageWrite.push_back(isPageWrite);
    if (!isPageWrite) continue;
    if (run.firstWrite == 0) run.firstWrite = run.messages;
    run.lastWrite = run.messages;
  }
  run.pageWrites = PageWrites();
  run.bytes = chip.Model().bytes;
  return run;
}

void UpdateRig::CutUpdate() {
  Load(Old());
  chip.Add("power-first:3:1:20");
  ASSERT_EQ(Update(ImageCase()), 5);
  PowerOn();
}

bool UpdateRig::HasJournal() {
  return std::filesystem::exists("journal");
}

bool MeansTheSame(const Bytes& left, const Bytes& right) {
  constexpr std::ptrdiff_t TableEnd = 16;
  const bool isHeadTheSame = std::equal(left.begin(), left.begin() + TableEnd, right.begin());
  return isHeadTheSame && StoreModel(left).contents == StoreModel(right).contents;
}

const std::vector<UpdateCase>& UpdateCases() {
  static const std::vector<UpdateCase> cases = {
      {.name = "Image", .before = UpdateRig::Old(), .words = "target", .after = UpdateRig::New()},
      {.name = "ImageOverUnusedBytes",
       .before = WithUnusedBytes(),
       .words = "target",
       .after = UpdateRig::New()},
      {.name = "ImageKeepingSettings",
       .before = UpdateRig::Old(),
       .words = "other --keep-settings",
       .after = Then(UpdateRig::Old(), {OtherUpgrade})},
      {.name = "Change",
       .before = UpdateRig::Old(),
       .words = "--file=2=upgrade --revision=2 --developer=off",
       .after = Then(UpdateRig::Old(), ChangeCommands)},
      {.name = "SettingBesideAListedFile",
       .before = ListedFile(),
       .words = "--developer=on",
       .after = Then(ListedFile(), {DeveloperOn})},
      {.name = "SettingBesideAnUnlistedFile",
       .before = UnlistedFile(),
       .words = "--developer=on",
       .after = Then(UnlistedFile(), {DeveloperOn})}};
  return cases;
}
