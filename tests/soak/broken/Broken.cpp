// Preloaded into the program it makes one of the mistakes that the kill test is there to find.
// TARNVALE_BROKEN says which.

#include <dlfcn.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

bool isBroken(std::string_view how) {
  const char* const chosen = getenv("TARNVALE_BROKEN");
  return chosen && how == chosen;
}

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int removeItem(const char* path, const struct stat*, int, FTW*) { return ::remove(path); }

// Nothing is kept of the generation before.
int afterRename(int result, std::string_view to) {
  constexpr int kDescriptors = 8;
  if (result == 0 && isBroken("no-previous") && to.ends_with(".previous"))
    nftw(to.data(), removeItem, kDescriptors, FTW_DEPTH | FTW_PHYS);
  return result;
}

// A volume does not say that its refill goes on.
bool forgets(std::string_view attribute) {
  return isBroken("no-refill-mark") && attribute.ends_with("com.tarnvale.RamDiskRefill");
}

}  // namespace

extern "C" {

// A generation does not say that it is not whole yet.
int mkdir(const char* path, mode_t mode) noexcept {
  if (isBroken("no-incomplete-mark") && std::string_view(path).ends_with(".incomplete")) return 0;
  return real<int(const char*, mode_t)>("mkdir")(path, mode);
}

int rename(const char* from, const char* to) noexcept {
  return afterRename(real<int(const char*, const char*)>("rename")(from, to), to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
  auto* const move = real<int(int, const char*, int, const char*, unsigned)>("renameat2");
  return afterRename(move(fromFolder, from, toFolder, to, flags), to);
}

int lsetxattr(const char* path, const char* name, const void* value, size_t size,
              int flags) noexcept {
  if (forgets(name)) return 0;
  auto* const set = real<int(const char*, const char*, const void*, size_t, int)>("lsetxattr");
  return set(path, name, value, size, flags);
}

int lremovexattr(const char* path, const char* name) noexcept {
  return forgets(name) ? 0 : real<int(const char*, const char*)>("lremovexattr")(path, name);
}
}
