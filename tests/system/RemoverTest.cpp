#include "system/TreeRemover.h"

#include <future>

#include "leaf/Descriptor.h"
#include "platform/posix/PosixFileCopying.h"
#include "tests/support/TreeRemovalCases.h"
#include "tests/system/SystemTest.h"

namespace removal {

struct RemoverServices : ScratchFirst, DoubleServices {
  RemoverServices() : DoubleServices(scratch.path()) {
    auto all = services();
    all.fileCopying = std::make_shared<platform::PosixFileCopying>();
    platform::install(all);
  }
};

template <unsigned threads>
platform::Outcome removeWith(const std::string& path) {
  const RemoverServices installed;
  return removeItemAtPath(path, threads);
}

INSTANTIATE_TEST_SUITE_P(Engine, TreeRemovalCases, testing::Values(removeWith<1>, removeWith<4>));

class RemoverTest : public testing::Test, protected RemoverServices {
 protected:
  using Names = std::vector<std::string>;

  static void touch(int folder, int number) {
    mknodat(folder, ("an entry " + std::to_string(number)).c_str(), S_IFREG | 0644, 0);
  }

  // Many small folders, some below others; gives how many entries lie in the folder.
  std::uint64_t manyFolders(const std::string& name, int folders, int files) const {
    for (int i = 0; i < folders; ++i) {
      const auto place = name + "/" + std::to_string(i / 10) + "/" + std::to_string(i);
      const Descriptor made(open(scratch.directory(place).c_str(), O_DIRECTORY | O_CLOEXEC));
      for (int file = 0; file < files; ++file) touch(made.get(), file);
    }
    const fs::recursive_directory_iterator all(scratch.path(name));
    return static_cast<std::uint64_t>(std::distance(begin(all), end(all)));
  }
};

TEST_F(RemoverTest, EmptiesAFolderOfManyInMemoryAndOnDisk) {
  constexpr int kFiles = 100'000;
  constexpr int kFolders = 1'000;
  // Beside the folder that the tests have in memory it is most often a disk.
  const fs::path memory = fs::temp_directory_path();
  setenv("TMPDIR", memory.parent_path().c_str(), 1);
  const Scratch disk;
  setenv("TMPDIR", memory.c_str(), 1);
  for (const std::string& place : {scratch.path(), disk.path()}) {
    const std::string many = place + "/many";
    fs::create_directory(many);
    const Descriptor folder(open(many.c_str(), O_DIRECTORY | O_CLOEXEC));
    for (int i = 0; i < kFiles; ++i) touch(folder.get(), i);
    for (int i = 0; i < kFolders; ++i) mkdirat(folder.get(), std::to_string(i).c_str(), 0755);
    const auto outcome = removeItems({"many"}, place, 4);
    EXPECT_TRUE(outcome.complete());
    EXPECT_EQ(outcome.removedEntries, 1U + kFiles + kFolders);
    EXPECT_FALSE(fs::exists(many));
  }
}

TEST_F(RemoverTest, GoesOnAndTellsOfEachItemThatStays) {
  manyFolders("volume/whole", 50, 4);
  manyFolders("volume/mounted", 50, 4);
  const std::string point = scratch.directory("volume/mounted/2/25/point");
  const std::string busy = scratch.file("volume/busy/deep/down/file", "kept");
  const std::string file = scratch.file("volume/file", "kept");
  scratch.file("volume/not asked for");
  ASSERT_EQ(mount("tmpfs", point.c_str(), "tmpfs", 0, nullptr), 0);
  for (const auto& each : {busy, file})
    ASSERT_EQ(mount(each.c_str(), each.c_str(), nullptr, MS_BIND, nullptr), 0);

  const auto outcome =
      removeItems({"whole", "missing", "mounted", "busy", "file", "..", "busy/deep", ""},
                  scratch.path("volume"), 4);
  std::map<std::string, std::string> failed;
  for (const auto& [name, error] : outcome.failedItems) failed[name] = error.text;
  const auto text = [&](const std::string& name, const char* reason) {
    return scratch.path("volume/" + name) + ": " + reason;
  };
  constexpr char kBusy[] = "Device or resource busy";
  const std::map<std::string, std::string> expected = {
      {"missing", text("missing", "No such file or directory")},
      {"mounted", text("mounted/2/25/point", kBusy)},
      {"busy", text("busy/deep/down/file", kBusy)},
      {"file", text("file", kBusy)},
      {"..", text("..", "Invalid argument")},
      {"busy/deep", text("busy/deep", "Invalid argument")},
      {"", text("", "No such file or directory")}};
  EXPECT_EQ(failed, expected);
  EXPECT_EQ(outcome.failedItems.at("file").code, EBUSY);
  EXPECT_EQ(log->entries().size(), expected.size()) << testing::PrintToString(log->entries());

  std::set<std::string> left;
  for (const auto& entry : fs::recursive_directory_iterator(scratch.path("volume")))
    left.insert(fs::relative(entry.path(), scratch.path("volume")));
  EXPECT_EQ(left, (std::set<std::string>{"busy", "busy/deep", "busy/deep/down",
                                         "busy/deep/down/file", "file", "mounted", "mounted/2",
                                         "mounted/2/25", "mounted/2/25/point", "not asked for"}));
  const auto nowhere = removeItems({"a", "b"}, scratch.path("missing"));
  ASSERT_EQ(nowhere.failedItems.size(), 2U);
  EXPECT_EQ(nowhere.failedItems.at("b").code, ENOENT);
}

TEST_F(RemoverTest, TakesAsRemovedWhatAnotherRemoves) {
  for (int round = 0; round < 20; ++round) {
    const auto entries = manyFolders("volume", 300, 8);
    const Names names = {"0", "5", "10", "15", "20", "25"};
    const auto removing = [&] { return removeItems(names, scratch.path("volume"), 2); };
    auto other = std::async(std::launch::async, removing);
    const auto mine = removing();
    const auto others = other.get();
    for (const auto* outcome : {&mine, &others})
      for (const auto& [name, error] : outcome->failedItems)
        EXPECT_EQ(error.text, scratch.path("volume/" + name) + ": No such file or directory");
    Names left;
    for (int i = 0; i < 30; ++i)
      if (i % 5 != 0) left.push_back(std::to_string(i));
    const auto rest = removeItems(left, scratch.path("volume"));
    EXPECT_TRUE(rest.complete());
    EXPECT_EQ(mine.removedEntries + others.removedEntries + rest.removedEntries, entries);
    EXPECT_TRUE(fs::is_empty(scratch.path("volume")));
  }
}

}  // namespace removal
