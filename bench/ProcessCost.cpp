#include "ProcessCost.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "Ground.h"

extern char** environ;

namespace bench {
namespace {

constexpr std::chrono::milliseconds kWhile(250);
constexpr double kNextToNothing = 0.0005;  // seconds within that while: a status refresh is less

// Fields of /proc/PID/stat after the name, proc(5).
enum StatField : std::size_t { kChildFaults = 8, kChildUser = 13, kChildSystem = 14 };

std::string statField(pid_t process, StatField which) {
  std::ifstream file(fmt::format("/proc/{}/stat", process));
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(line.rfind(')') + 2));
  std::string value;
  for (std::size_t i = 0; i <= which; ++i) fields >> value;
  return fields ? value : "0";
}

double threadSeconds(const std::filesystem::path& thread) {
  std::ifstream file(thread / "schedstat");
  double nanoseconds = 0;
  file >> nanoseconds;
  return nanoseconds / 1e9;
}

}  // namespace

Companion::Companion(std::vector<std::string> command) {
  std::vector<char*> words;
  for (auto& word : command) words.push_back(word.data());
  words.push_back(nullptr);
  if (posix_spawnp(&process_, words[0], nullptr, nullptr, words.data(), environ) != 0)
    giveUp("cannot run " + command[0]);
}

int Companion::end() {
  if (process_ <= 0) return 0;
  kill(process_, SIGTERM);
  int status = -1;
  waitpid(process_, &status, 0);
  process_ = 0;
  return status;
}

double processorSeconds(pid_t process) {
  double seconds = 0;
  std::error_code ignored;
  for (const auto& thread :
       std::filesystem::directory_iterator(fmt::format("/proc/{}/task", process), ignored))
    seconds += threadSeconds(thread.path());
  const double ticks =
      std::stod(statField(process, kChildUser)) + std::stod(statField(process, kChildSystem));
  return seconds + ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long childFaults(pid_t process) { return std::stol(statField(process, kChildFaults)); }

bool hasChildren(pid_t process) {
  std::ifstream file(fmt::format("/proc/{0}/task/{0}/children", process));
  std::string child;
  return static_cast<bool>(file >> child);
}

double residentMegabytes(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(file, line);)
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) * 1024 / 1'000'000;
  return 0;
}

void untilQuiet(pid_t process) {
  double before = 0;
  double now = processorSeconds(process);
  do {
    before = now;
    std::this_thread::sleep_for(kWhile);
    now = processorSeconds(process);
  } while (now - before > kNextToNothing);
}

}  // namespace bench
