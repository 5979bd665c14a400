#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// Files that are the same in every run of the benchmark.
struct DataSet {
  std::string name;         // of its folder
  std::string description;  // for titles
  std::vector<std::string> paths;
  std::vector<std::size_t> sizes;  // of each file, in bytes
};

// 20,000 files of log-normal sizes in 64 folders, some 800 MB, as a browser keeps them.
DataSet browserCache();

// 50,000 small files in 2,400 folders, some 440 MB, as a compiler leaves them.
DataSet buildFolder();

void make(const DataSet& set, const std::string& folder);

// Gives one file in a hundred other contents, and so another modification time; other files in each
// of a hundred rounds.
void changeSome(const DataSet& set, const std::string& folder, std::uint64_t round);

}  // namespace bench
