#include "platform/linux/ExtendedAttributes.h"

#include <sys/xattr.h>

#include <cerrno>

#include "platform/posix/PosixError.h"

namespace platform {
namespace {

std::string kept(const std::string& name) { return "user." + name; }

std::string subject(const std::string& path, const std::string& name) {
  return path + ", attribute " + name;
}

// Asks `read` for the size, then for the bytes. It is called with a buffer and the buffer's size.
template <class Read>
Result<std::string> sizedRead(const std::string& what, Read read) {
  const ssize_t size = read(nullptr, 0);
  if (size < 0) return lastPosixError(what);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (size == 0) return bytes;
  const ssize_t got = read(bytes.data(), bytes.size());
  if (got < 0) return lastPosixError(what);
  if (got != size) return posixError(ERANGE, what);
  return bytes;
}

}  // namespace

Outcome setUserAttribute(const std::string& path, const std::string& name,
                         const std::string& value) {
  if (lsetxattr(path.c_str(), kept(name).c_str(), value.data(), value.size(), 0) == 0) return {};
  return lastPosixError(subject(path, name));
}

Outcome removeUserAttribute(const std::string& path, const std::string& name) {
  if (lremovexattr(path.c_str(), kept(name).c_str()) == 0) return {};
  return lastPosixError(subject(path, name));
}

Result<std::string> userAttribute(const std::string& path, const std::string& name) {
  return sizedRead(subject(path, name), [&](char* buffer, std::size_t size) {
    return lgetxattr(path.c_str(), kept(name).c_str(), buffer, size);
  });
}

Result<std::vector<std::string>> allAttributeNames(const std::string& path) {
  const auto list = sizedRead(
      path, [&](char* buffer, std::size_t size) { return llistxattr(path.c_str(), buffer, size); });
  if (!list) return list.error();
  std::vector<std::string> names;
  for (std::size_t at = 0; at < list->size(); at += names.back().size() + 1)
    names.emplace_back(list->c_str() + at);
  return names;
}

}  // namespace platform
