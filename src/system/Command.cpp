#include "system/Command.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "core/QVLog.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/Errno.h"
#include "system/QVFunctions.h"

extern char** environ;

namespace {

// The null-terminated array that C wants of texts that outlive it.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> argumentTexts(const SpawnRequest& request) {
  std::vector<std::string> texts = {request.path};
  texts.insert(texts.end(), request.arguments.begin(), request.arguments.end());
  return texts;
}

std::vector<std::string> environmentTexts(const SpawnRequest& request) {
  std::vector<std::string> texts;
  if (!request.environment) return texts;
  for (const auto& [name, value] : *request.environment)
    texts.push_back(fmt::format("{}={}", name, value));
  return texts;
}

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void put(int from, int to) {
    if (from >= 0) note(posix_spawn_file_actions_adddup2(&actions_, from, to));
  }
  void enter(const std::optional<std::string>& directory) {
    if (directory) note(posix_spawn_file_actions_addchdir_np(&actions_, directory->c_str()));
  }
  int error() const { return error_; }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  void note(int code) {
    if (error_ == 0) error_ = code;
  }

  posix_spawn_file_actions_t actions_;
  int error_ = 0;
};

class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t none;
    sigset_t restored;
    sigemptyset(&none);
    sigemptyset(&restored);
    sigaddset(&restored, SIGPIPE);
    sigaddset(&restored, SIGXFSZ);
    sigaddset(&restored, SIGCHLD);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &restored);
    posix_spawnattr_setflags(&attributes_, kFlags);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  static constexpr short kFlags =
      POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID;

  posix_spawnattr_t attributes_;
};

// The programs that are waited for now; what a signal handler can reach. One that finds no room is
// waited for all the same. A program stays here until it is about to be reaped, so that its number
// is nobody else's.
std::array<std::atomic<pid_t>, 64> running{};
static_assert(std::atomic<pid_t>::is_always_lock_free);

void replaceRunning(pid_t from, pid_t to) {
  for (auto& place : running) {
    pid_t expected = from;
    if (place.compare_exchange_strong(expected, to)) return;
  }
}

int awaitEnd(pid_t process) {
  siginfo_t ended{};
  while (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

}  // namespace

int spawnProgram(const SpawnRequest& request, pid_t& process) {
  FileActions actions;
  actions.put(request.standardOutput, STDOUT_FILENO);
  actions.put(request.standardError, STDERR_FILENO);
  actions.enter(request.directory);
  if (actions.error() != 0) return actions.error();

  const SpawnAttributes attributes;
  auto arguments = argumentTexts(request);
  auto variables = environmentTexts(request);
  return posix_spawn(&process, request.path.c_str(), actions.get(), attributes.get(),
                     pointersTo(arguments).data(),
                     request.environment ? pointersTo(variables).data() : environ);
}

int awaitProgram(pid_t process, std::int64_t& status) {
  replaceRunning(0, process);
  const int error = awaitEnd(process);
  replaceRunning(process, 0);
  if (error != 0) return error;
  int raw = 0;
  while (waitpid(process, &raw, 0) < 0) {
    if (errno != EINTR) return errno;
  }
  status = WIFSIGNALED(raw) ? WTERMSIG(raw) : WEXITSTATUS(raw);
  return 0;
}

// Each is the first of its session and so of a group of the same number.
void endRunningPrograms() {
  for (const auto& place : running) {
    const pid_t process = place;
    if (process > 0) kill(-process, SIGTERM);
  }
}

namespace {

constexpr off_t kChunkBytes = 1 << 20;

// Out of the way of the three standard descriptors, which the tool's own are made over.
Descriptor aboveStandardDescriptors(Descriptor file) {
  if (!file || file.get() > STDERR_FILENO) return file;
  return Descriptor(fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

// Several writers, and one that truncates what it reopened, must not leave gaps: all append.
StreamFile StreamFile::over(Descriptor file) {
  StreamFile stream;
  stream.file_ = aboveStandardDescriptors(std::move(file));
  if (stream) fcntl(stream.descriptor(), F_SETFL, O_APPEND);
  return stream;
}

// Not every system of this family has files in memory, so the call is looked up when it is needed.
// Shared memory objects will not do in its place: some systems refuse write() to them, others hold
// them to a small total.
StreamFile StreamFile::inMemory() {
  using MakeFile = int (*)(const char*, unsigned);
  constexpr unsigned kCloseOnExec = 1;
  static const auto make = reinterpret_cast<MakeFile>(dlsym(RTLD_DEFAULT, "memfd_create"));
  if (make) return over(Descriptor(make("tool-output", kCloseOnExec)));
  errno = ENOSYS;
  return {};
}

StreamFile StreamFile::inTemporaryFolder() {
  std::error_code error;
  std::string path = (std::filesystem::temp_directory_path(error) / "tool-output-XXXXXX").string();
  if (error) {
    errno = error.value();
    return {};
  }
  Descriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (file) unlink(path.c_str());
  return over(std::move(file));
}

StreamFile StreamFile::make() {
  StreamFile stream = inMemory();
  return stream ? std::move(stream) : inTemporaryFolder();
}

void StreamFile::seal() {
  struct stat status {};
  end_ = fstat(file_.get(), &status) == 0 ? status.st_size : 0;
}

std::string StreamFile::nextChunk() {
  std::string chunk(static_cast<std::size_t>(std::min(kChunkBytes, end_ - position_)), '\0');
  ssize_t got = 0;
  do {
    got = pread(file_.get(), chunk.data(), chunk.size(), position_);
  } while (got < 0 && errno == EINTR);
  chunk.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  position_ += static_cast<off_t>(chunk.size());
  return chunk;
}

namespace {

using Output = std::optional<std::string>;

bool canBeExecuted(const std::string& path) {
  const auto& files = *platform::services().files;
  return !path.empty() && path != "/" && files.kind(path) == platform::FileKind::Other &&
         files.isExecutable(path);
}

// What both streams hold once the tool has ended. What a process that it left behind writes from
// here on is not waited for.
struct Collected {
  std::string out;
  std::string err;
};

Collected drained(StreamFile& out, StreamFile& err) {
  out.seal();
  err.seal();
  Collected collected;
  for (bool more = true; more;) {
    const std::string outChunk = out.nextChunk();
    const std::string errChunk = err.nextChunk();
    collected.out += outChunk;
    collected.err += errChunk;
    more = !outChunk.empty() || !errChunk.empty();
  }
  return collected;
}

bool isSevenBit(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

// Seven-bit output, which most is, is UTF-8 as it stands.
Output decoded(std::string bytes, std::string_view placeholder) {
  if (bytes.empty()) return std::nullopt;
  const auto other = std::find_if_not(bytes.begin(), bytes.end(), isSevenBit);
  if (!extensions::isValidUtf8({other, bytes.end()})) return std::string(placeholder);
  return bytes;
}

bool failed(std::string_view call, int code, const std::string& command) {
  QVLogError("QVFunctions", "exception:{} command:{}", fmt::format("{}: {}", call, errnoText(code)),
             command);
  return false;
}

bool run(SpawnRequest& request, StreamFile& out, StreamFile& err, std::int64_t& status) {
  if (!out || !err) return failed("collecting output", errno, request.path);
  request.standardOutput = out.descriptor();
  request.standardError = err.descriptor();
  pid_t process = 0;
  if (const int code = spawnProgram(request, process)) return failed("launch", code, request.path);
  if (const int code = awaitProgram(process, status)) return failed("wait", code, request.path);
  return true;
}

}  // namespace

bool QVFunctions::executeCommand(const std::optional<std::string>& command, const Arguments& args,
                                 const std::optional<Environment>& environment,
                                 const std::optional<std::string>& currentDir, std::int64_t& status,
                                 Output* stdOut, Output* stdErr) {
  status = 0;
  if (stdOut) stdOut->reset();
  if (stdErr) stdErr->reset();
  if (!command || !canBeExecuted(*command)) return false;

  SpawnRequest request{*command, args, environment, currentDir, -1, -1};
  StreamFile out = StreamFile::make();
  StreamFile err = StreamFile::make();
  if (!run(request, out, err, status)) return false;

  Collected collected = drained(out, err);
  if (stdErr) *stdErr = decoded(std::move(collected.err), "errString==nil");
  if (stdOut) *stdOut = decoded(std::move(collected.out), "outString==nil");
  return true;
}

bool QVFunctions::executeCommand(const std::optional<std::string>& command, const Arguments& args,
                                 std::int64_t& status, Output* stdOut, Output* stdErr) {
  return executeCommand(command, args, std::nullopt, std::nullopt, status, stdOut, stdErr);
}
