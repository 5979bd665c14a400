#include "disktools/FsContext.h"

#include <sys/mount.h>

#include <array>
#include <cerrno>

namespace disktools {

namespace {

// Each read gives one message: a severity letter, a blank and the text.
std::string kernelMessages(int context) {
  std::string all;
  std::array<char, 1024> buffer{};
  for (ssize_t count = 0; (count = read(context, buffer.data(), buffer.size())) > 0;) {
    std::string message(buffer.data(), static_cast<std::size_t>(count));
    if (message.size() > 2 && message[1] == ' ') message.erase(0, 2);
    while (!message.empty() && message.back() == '\n') message.pop_back();
    all += all.empty() ? "the kernel says: " : "; ";
    all += message;
  }
  return all;
}

}  // namespace

Result<FsContext> FsContext::open(const char* type, std::string purpose) {
  Descriptor context(fsopen(type, FSOPEN_CLOEXEC));
  if (!context) return systemProblem(purpose, std::string("the kernel has no ") + type);
  return FsContext(std::move(context), std::move(purpose));
}

Problem FsContext::refused() const {
  const int error = errno;
  return {purpose_, error, kernelMessages(context_.get())};
}

Failure FsContext::set(const char* key, const std::string& value) {
  if (fsconfig(context_.get(), FSCONFIG_SET_STRING, key, value.c_str(), 0) != 0) return refused();
  return std::nullopt;
}

Failure FsContext::set(const char* flag) {
  if (fsconfig(context_.get(), FSCONFIG_SET_FLAG, flag, nullptr, 0) != 0) return refused();
  return std::nullopt;
}

Result<Descriptor> FsContext::mount(std::uint64_t attributes) {
  if (fsconfig(context_.get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) != 0) return refused();
  Descriptor made(fsmount(context_.get(), FSMOUNT_CLOEXEC, static_cast<unsigned>(attributes)));
  if (!made) return refused();
  return made;
}

}  // namespace disktools
