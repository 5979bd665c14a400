#include "DataSets.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

namespace fs = std::filesystem;

namespace bench {
namespace {

constexpr std::uint64_t kFirstDraw = 20'261'121;  // fixed, so that every run has the same files

std::vector<char> noise(std::size_t size) {
  std::mt19937_64 engine(kFirstDraw);
  std::vector<char> bytes(size);
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

void makeBrowserCache(const std::string& folder) {
  constexpr int kFiles = 20'000;
  constexpr int kFolders = 64;
  const auto bytes = noise(1U << 20U);
  std::mt19937_64 engine(kFirstDraw);
  std::lognormal_distribution<double> sizes(9.6, 1.4);
  for (int i = 0; i < kFiles; ++i) {
    const std::string place = fmt::format("{}/{:02x}", folder, i % kFolders);
    if (i < kFolders) fs::create_directories(place);
    write(fmt::format("{}/{:08x}_0", place, i), bytes, static_cast<std::size_t>(sizes(engine)));
  }
}

void makeBuildFolder(const std::string& folder) {
  constexpr int kFolders = 2'400;
  constexpr int kFiles = 50'000;
  const auto bytes = noise(1U << 16U);
  std::mt19937_64 engine(kFirstDraw);
  std::uniform_int_distribution<std::size_t> sizes(200, 17'400);
  for (int i = 0; i < kFiles; ++i) {
    const int number = i % kFolders;
    const std::string place = fmt::format("{}/{}/{}", folder, number / 40, number);
    if (i < kFolders) fs::create_directories(place);
    write(fmt::format("{}/unit{}.o", place, i), bytes, sizes(engine));
  }
}

}  // namespace bench
