#include <algorithm>
#include <cerrno>

#include "core/QVLog.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/FunctionLog.h"
#include "system/QVFunctions.h"
#include "system/Spawn.h"
#include "system/StreamFile.h"

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
