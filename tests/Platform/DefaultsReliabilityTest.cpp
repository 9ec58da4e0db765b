// A writer process killed at random moments leaves a sound database holding
// every write it acknowledged.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <random>

#include "support/DefaultsTestSupport.hpp"
#include "support/DefaultsWriterValues.hpp"
#include "zorlan/Platform/Defaults.hpp"

namespace zorlan {
namespace {

// Reads one acknowledgement; false at the end of the pipe.
bool readNumber(int fd, std::int64_t& n) {
  auto* bytes = reinterpret_cast<char*>(&n);
  std::size_t got = 0;
  while (got < sizeof n) {
    ssize_t r = ::read(fd, bytes + got, sizeof n - got);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    got += static_cast<std::size_t>(r);
  }
  return true;
}

TEST(DefaultsReliability, KilledWriterLosesNoAcknowledgedWrite) {
  testing::ScratchDirectory dir;
  const std::string suite = "killed";
  const auto path = Defaults::databasePath(dir.path(), suite);
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);

  std::map<std::string, std::int64_t> acknowledged;  // key -> last acknowledged number
  std::int64_t next = 0;                             // the next writer's first number
  for (int round = 0; round < 100; ++round) {
    // One kill in five lands while the writer opens the database.
    const int wanted = random() % 5 == 0 ? 0 : static_cast<int>(random() % 40);
    const std::string first = std::to_string(next);
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    const char* argv[] = {ZORLAN_DEFAULTS_WRITER, dir.path().c_str(), suite.c_str(), first.c_str(),
                          nullptr};
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, ZORLAN_DEFAULTS_WRITER, &actions, nullptr,
                                      const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    ASSERT_EQ(spawned, 0);
    int got = 0;
    for (std::int64_t n = 0; got < wanted && readNumber(fds[0], n); ++got) {
      ASSERT_EQ(n, next + got);
      acknowledged[testing::writerKey(n)] = n;
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        << "round " << round << ": the writer ended by itself, status " << status;
    ASSERT_GE(got, wanted) << "round " << round;
    // Acknowledgements still in the pipe count as well.
    for (std::int64_t n = 0; readNumber(fds[0], n); ++got) {
      ASSERT_EQ(n, next + got);
      acknowledged[testing::writerKey(n)] = n;
    }
    ::close(fds[0]);
    // The write under way when the kill came may have committed too.
    const std::int64_t highest = next + got;
    next = highest + 1;

    if (!std::filesystem::exists(path)) continue;
    EXPECT_EQ(testing::RawDatabase(path, SQLITE_OPEN_READONLY).text("PRAGMA integrity_check"), "ok")
        << "round " << round;
    auto defaults = Defaults::open(suite, dir.path());
    EXPECT_TRUE(defaults->damagedKeys().empty()) << "round " << round;
    for (const auto& [key, n] : acknowledged) {
      auto stored = defaults->object(key);
      auto storedNumber = stored ? testing::writerNumber(*stored) : std::nullopt;
      ASSERT_TRUE(storedNumber.has_value()) << "round " << round << ", key " << key;
      EXPECT_GE(*storedNumber, n) << "round " << round << ", key " << key;
      EXPECT_LE(*storedNumber, highest) << "round " << round << ", key " << key;
    }
  }
  EXPECT_GT(acknowledged.size(), 4u);
}

}  // namespace
}  // namespace zorlan
