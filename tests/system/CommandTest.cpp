#include <signal.h>

#include "system/Command.h"
#include "system/QVFunctions.h"
#include "tests/support/FewDescriptors.h"
#include "tests/system/SystemTest.h"

namespace {

using Text = std::optional<std::string>;

struct Ran {
  bool ok = false;
  std::int64_t status = 77;
  Text out = "left over";
  Text err = "left over";

  bool operator==(const Ran&) const = default;
};

void PrintTo(const Ran& ran, std::ostream* stream) {
  *stream << ran.ok << " " << ran.status << " [" << ran.out.value_or("nil").substr(0, 200) << "] ["
          << ran.err.value_or("nil").substr(0, 200) << "]";
}

const Ran kRefused{false, 0, std::nullopt, std::nullopt};

Ran run(const Text& command, const QVFunctions::Arguments& args = {}) {
  Ran ran;
  ran.ok = QVFunctions::executeCommand(command, args, ran.status, &ran.out, &ran.err);
  return ran;
}

Ran shell(const std::string& script) { return run("/bin/sh", {"-c", script}); }

class CommandTest : public SystemTest {};

TEST_F(CommandTest, HandsBackStatusAndOutput) {
  using namespace std::string_literals;
  const struct {
    std::string script;
    Ran expected;
  } cases[] = {
      {":", {true, 0, {}, {}}},
      {"echo oops >&2; exit 1", {true, 1, {}, "oops\n"}},
      {"echo out; echo err >&2; exit 255", {true, 255, "out\n", "err\n"}},
      {"printf 'gr\\303\\274n'", {true, 0, "grün", {}}},
      {"printf 'a\\000b'", {true, 0, "a\0b"s, {}}},
      {"printf '\\377'; printf '\\300\\200' >&2", {true, 0, "outString==nil", "errString==nil"}},
      {"echo one; kill -9 $$", {true, 9, "one\n", {}}},
      {"echo the first; echo two >/dev/stdout; echo three", {true, 0, "two\nthree\n", {}}}};
  for (const auto& c : cases) EXPECT_EQ(shell(c.script), c.expected) << c.script;
  EXPECT_EQ(log->entries().size(), 0U);
}

TEST_F(CommandTest, GivesTheToolItsArgumentsEnvironmentAndDirectory) {
  const auto tool =
      scratch.executable("tool", "#!/bin/sh\necho \"$0|$#|$1|$2|$OWN|${HOME-unset}\"; pwd -P\n");
  const std::string directory = scratch.directory("folder with space");
  setenv("HOME", "/inherited", 1);
  Ran ran;
  ran.ok = QVFunctions::executeCommand(tool, {"a b", ""}, {{{"OWN", "x=y"}}}, directory, ran.status,
                                       &ran.out, &ran.err);
  EXPECT_EQ(ran, (Ran{true, 0, tool + "|2|a b||x=y|unset\n" + directory + "\n", {}}));
  EXPECT_NE(run(tool).out->find("|0||||/inherited\n"), std::string::npos);
}

TEST_F(CommandTest, RefusesWhatIsNoExecutableFileInSilence) {
  const auto plain = scratch.file("plain", "#!/bin/sh\n");
  for (const Text& path : {Text(), Text(""), Text("/"), Text(scratch.path()), Text(plain),
                           Text(scratch.path("missing")), Text(plain + "/below")}) {
    EXPECT_EQ(run(path), kRefused) << path.value_or("nil");
  }
  EXPECT_EQ(log->entries().size(), 0U);
}

TEST_F(CommandTest, LogsWhatCannotBeStarted) {
  const auto noProgram = scratch.executable("no-program", "neither script nor program\n");
  EXPECT_EQ(run(noProgram), kRefused);
  EXPECT_EQ(log->count("command:" + noProgram), 1U);

  Ran ran;
  ran.ok = QVFunctions::executeCommand("/bin/sh", {"-c", ":"}, {}, scratch.path("nowhere"),
                                       ran.status, &ran.out, &ran.err);
  EXPECT_EQ(ran, kRefused);
  EXPECT_EQ(log->count("QVFunctions exception:"), 2U);
  EXPECT_EQ(log->count("command:/bin/sh"), 1U);
}

TEST_F(CommandTest, TakesMoreOutputThanAnyPipeHolds) {
  constexpr std::size_t kBytes = 100 << 20;
  const Ran ran = shell(
      "(head -c 104857600 /dev/zero; printf o) & (head -c 104857600 /dev/zero; printf e) >&2; "
      "wait");
  EXPECT_EQ(ran.status, 0);
  EXPECT_TRUE(ran.out == std::string(kBytes, '\0') + 'o');
  EXPECT_TRUE(ran.err == std::string(kBytes, '\0') + 'e');
}

TEST_F(CommandTest, IsNotHeldUpByWhatTheToolLeavesBehind) {
  const Ran ran = shell("(ulimit -f 100000; while :; do echo more >&2; done) & echo $!");
  const pid_t left = std::stoi(ran.out.value());
  EXPECT_EQ(kill(left, 0), 0) << "it should still be writing";
  kill(left, SIGKILL);
}

TEST_F(CommandTest, StartsTheToolWithOrdinarySignals) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto handler = signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(shell("kill -TERM $$; echo alive"), (Ran{true, SIGTERM, {}, {}}));
  EXPECT_EQ(shell("kill -PIPE $$; echo alive"), (Ran{true, SIGPIPE, {}, {}}));
  signal(SIGPIPE, handler);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(CommandTest, LeaksNoDescriptorAndGivesNoneToTheTool) {
  shell(":");
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(run("/bin/true").ok);
  EXPECT_EQ(openDescriptors(), before);
  const auto given = shell("ls -l /dev/fd/ | grep -c tool-output").out;
  EXPECT_EQ(given, "1\n") << "its standard error; its standard output is the pipe there";
}

TEST_F(CommandTest, ServesManyThreadsAtOnce) {
  std::array<Text, 8> outputs;
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < outputs.size(); ++i)
    threads.emplace_back([&outputs, i] { outputs[i] = shell("echo " + std::to_string(i)).out; });
  for (auto& thread : threads) thread.join();
  for (std::size_t i = 0; i < outputs.size(); ++i) EXPECT_EQ(outputs[i], std::to_string(i) + "\n");
}

// Either kind of file serves, wherever the system has both.
TEST_F(CommandTest, StreamFilesReadToTheirSealedEndAndLeaveNothing) {
  const std::string before = fs::temp_directory_path();
  setenv("TMPDIR", scratch.path().c_str(), 1);
  for (auto* make : {StreamFile::inMemory, StreamFile::inTemporaryFolder}) {
    StreamFile stream = make();
    ASSERT_TRUE(stream);
    const std::string text(3 << 20, 'x');
    ASSERT_EQ(write(stream.descriptor(), text.data(), text.size()), std::ssize(text));
    stream.seal();
    ASSERT_EQ(write(stream.descriptor(), "late", 4), 4);
    std::string read;
    for (std::string chunk = stream.nextChunk(); !chunk.empty(); chunk = stream.nextChunk())
      read += chunk;
    EXPECT_TRUE(read == text);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
  }
  setenv("TMPDIR", before.c_str(), 1);
}

}  // namespace
