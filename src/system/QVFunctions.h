#pragma once
// Services of no particular object: external commands, lines of text, directories and dates, byte
// counts, facts about the running program. All are stateless but for the answers named as kept,
// which hold while the services they came from stay installed. Any thread.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Canvas.h"
#include "platform/Result.h"

class QVFunctions {
 public:
  using Arguments = std::vector<std::string>;
  using Environment = std::map<std::string, std::string>;

  // --- External commands (Command.cpp)

  // Runs an executable to its end, without a time limit, and collects what it wrote. YES when it
  // was started and ended, whatever its status. `environment` and `currentDir` inherit when absent,
  // and a given environment replaces the inherited one. `stdOut` and `stdErr` may be null; a stream
  // that stayed empty leaves its text absent. A path that cannot be executed is refused silently.
  // A tool killed by a signal gives the signal's number as its status, as the platform does.
  static bool executeCommand(const std::optional<std::string>& command, const Arguments& args,
                             const std::optional<Environment>& environment,
                             const std::optional<std::string>& currentDir, std::int64_t& status,
                             std::optional<std::string>* stdOut,
                             std::optional<std::string>* stdErr);
  static bool executeCommand(const std::optional<std::string>& command, const Arguments& args,
                             std::int64_t& status, std::optional<std::string>* stdOut,
                             std::optional<std::string>* stdErr);

  // --- Lines (QVFunctions_Texts.cpp)

  static constexpr std::uint64_t kTrimAndDropEmpty = 1;  // the one option bit

  // A positive `maxLines` gives up to maxLines + 1 lines, on purpose.
  static std::optional<std::vector<std::string>> linesFromString(
      const std::optional<std::string>& text, std::int64_t maxLines, std::uint64_t options);
  static std::optional<std::vector<std::string>> linesFromString(
      const std::optional<std::string>& text);
  // Text in UTF-8, in UTF-16 with a byte-order mark, or in Latin-1.
  static std::optional<std::vector<std::string>> linesFromFilePath(
      const std::string& path, std::optional<platform::SystemError>* error);
  // Counts by the wider rule of lines, so it can exceed the number that linesFromString gives.
  static std::uint64_t linesCountOfString(std::string_view text);

  // --- Files (QVFunctions_Files.cpp)

  struct ItemFailure {
    std::string path;
    platform::SystemError error;
  };

  static bool isLegalFilename(const std::optional<std::string>& name);
  static std::optional<std::string> securisedFileName(
      const std::optional<std::string>& name, const std::optional<std::string>& subsitution);
  static bool checkDirectoryAtPath(const std::optional<std::string>& path, bool replaceIfNotDir);
  // The application's own directories, or a directory in them; the former are kept. One that
  // cannot be made is a critical exception and is handed out all the same.
  static std::optional<std::string> appSupportPath(const std::optional<std::string>& subdirectory);
  static std::optional<std::string> cachesDirPath(const std::optional<std::string>& subdirectory);
  static bool cleanDirectoryContentsAtPath(const std::string& path,
                                           std::vector<ItemFailure>& errors);
  // Whole seconds since 1970, links followed. `date` may be null.
  static bool getCreationDate1970(double* date, const std::optional<std::string>& path);
  static bool getModDate1970(double* date, const std::optional<std::string>& path);

  // --- Facts (QVFunctions.cpp)

  // The binary style of the macOS byte-count formatter: "Zero KB", "999 bytes", "2 KB", "1.5 GB".
  // nullopt below 0. (QVFunctions_Texts.cpp)
  static std::optional<std::string> stringFromBytesWithBin1024Style(std::int64_t bytes);
  static std::optional<std::string> UUIDString();  // upper case
  // Kept, as are the two that follow and isSandboxedApp.
  static std::string appName();
  static std::optional<std::string> appVersion();
  static std::optional<std::string> appBuild();
  // Seconds since 1970 of the build, read as local time.
  static std::optional<double> dateCompiled();
  static bool isSandboxedApp();

  // The desktop's icon of a classic four-character type, in points. Null where it has none.
  static platform::ImagePtr wsIconForFileHFSType(std::string_view type, double size);
};
