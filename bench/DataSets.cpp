#include "DataSets.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace bench {
namespace {

constexpr std::uint64_t kFirstDraw = 20'261'121;  // fixed, so that every run has the same files
constexpr std::uint64_t kOneIn = 100;

std::vector<char> noise(std::uint64_t draw) {
  std::mt19937_64 engine(draw);
  std::vector<char> bytes(1U << 20U);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(engine()); });
  return bytes;
}

void write(const std::string& path, const std::vector<char>& bytes, std::size_t size) {
  std::ofstream file(path, std::ios::binary);
  for (std::size_t left = size; left > 0;) {
    const std::size_t part = std::min(left, bytes.size());
    file.write(bytes.data(), static_cast<std::streamsize>(part));
    left -= part;
  }
}

}  // namespace

DataSet browserCache() {
  constexpr int kFiles = 20'000;
  constexpr int kFolders = 64;
  DataSet set{"browser", "a browser cache of 20,000 files, 800 MB", {}, {}};
  std::mt19937_64 engine(kFirstDraw);
  std::lognormal_distribution<double> sizes(9.6, 1.4);
  for (int i = 0; i < kFiles; ++i) {
    set.paths.push_back(fmt::format("{:02x}/{:08x}_0", i % kFolders, i));
    set.sizes.push_back(static_cast<std::size_t>(sizes(engine)));
  }
  return set;
}

DataSet buildFolder() {
  constexpr int kFolders = 2'400;
  constexpr int kFiles = 50'000;
  DataSet set{"build", "a build folder of 50,000 files, 440 MB", {}, {}};
  std::mt19937_64 engine(kFirstDraw);
  std::uniform_int_distribution<std::size_t> sizes(200, 17'400);
  for (int i = 0; i < kFiles; ++i) {
    const int number = i % kFolders;
    set.paths.push_back(fmt::format("{}/{}/unit{}.o", number / 40, number, i));
    set.sizes.push_back(sizes(engine));
  }
  return set;
}

void make(const DataSet& set, const std::string& folder) {
  const auto bytes = noise(kFirstDraw);
  for (std::size_t i = 0; i < set.paths.size(); ++i) {
    const fs::path path = folder + "/" + set.paths[i];
    fs::create_directories(path.parent_path());
    write(path, bytes, set.sizes[i]);
  }
}

void changeSome(const DataSet& set, const std::string& folder, std::uint64_t round) {
  const auto bytes = noise(kFirstDraw + 1 + round);
  for (std::size_t i = round % kOneIn; i < set.paths.size(); i += kOneIn)
    write(folder + "/" + set.paths[i], bytes, set.sizes[i]);
}

}  // namespace bench
