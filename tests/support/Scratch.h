#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

// A folder of its own for one test, removed with it, and with what was mounted there.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return path_; }
  std::string path(std::string_view relative) const { return path_ + "/" + std::string(relative); }

  // Makes a file, and the folders above it, and gives its path.
  std::string file(std::string_view relative, std::string_view contents = {}) const;
  std::string executable(std::string_view relative, std::string_view script) const;
  std::string directory(std::string_view relative) const;

 private:
  std::string path_;
};

// The file's contents, empty for none.
std::string readFile(const std::string& path);
