#include "tests/support/PrivateNamespace.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

bool write(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.flush();
  return file.good();
}

bool becomeRootOfUserNamespace() {
  const auto uid = geteuid();
  const auto gid = getegid();
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  return write("/proc/self/setgroups", "deny") &&
         write("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") &&
         write("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

bool coverWithMemory(const std::string& path, const char* options) {
  return mount("tmpfs", path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options) == 0;
}

bool enterNamespace(const std::string& temporary) {
  const bool own = geteuid() == 0 ? unshare(CLONE_NEWNS) == 0 : becomeRootOfUserNamespace();
  return own && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         coverWithMemory("/run", "mode=755") && coverWithMemory(temporary, "mode=755") &&
         setenv("TMPDIR", temporary.c_str(), 1) == 0;
}

int runChild(const std::string& temporary, const std::function<int()>& body) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // whoever ends the parent means the tests
  if (enterNamespace(temporary)) return body();
  std::fprintf(stderr, "tests need a private mount namespace: %s\n", std::strerror(errno));
  return 1;
}

int statusOf(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int runInPrivateNamespace(const std::function<int()>& body) {
  std::string temporary =
      (std::filesystem::temp_directory_path() / "tarnvale-tests-XXXXXX").string();
  if (!mkdtemp(temporary.data())) return 1;
  const pid_t child = fork();
  if (child == 0) std::exit(runChild(temporary, body));
  const int status = child < 0 ? 1 : statusOf(child);
  rmdir(temporary.c_str());
  return status;
}
