// Records of several threads and processes never mix inside a line.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <regex>
#include <thread>

#include "LogSoSupport.h"

using siutest::TempDir;

namespace {

constexpr int kWriters = 4, kRecords = 600;
const unsigned char kDump[] = "dump\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c";

// Every third record is a hex record; the rest are long text lines. Returns
// the number of failed writes.
int writeRecords(int index, int writer) {
    int failures = 0;
    for (int n = 0; n < kRecords; ++n) {
        std::string text = "w" + std::to_string(writer) + " n" + std::to_string(n) + " " +
                           std::string(300, static_cast<char>('a' + writer));
        failures += (n % 3 == 0 ? logSo().writeToFileHex(index, 5, text.c_str(), kDump, 16)
                                : logSo().writeToFile(index, 5, text.c_str())) != 0;
    }
    return failures;
}

// Every writer's records are all there, whole and in order (across the
// rotated files), each hex record directly followed by its dump.
void expectWholeRecords(const std::string& prefix) {
    std::string all;
    for (const auto& file : todaysFiles(prefix)) all += siutest::readWholeFile(file);
    const std::regex record(R"([-\d]{10} [:\d]{8}\.\d{3} INF w(\d) n(\d+) ([a-z])\3{299})");
    const std::string dump =
        "    0000  64 75 6D 70 01 02 03 04  05 06 07 08 09 0A 0B 0C  dump............";
    std::map<int, int> next;
    auto lines = linesOf(all);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines[i], m, record)) << "line " << i << ": " << lines[i];
        int writer = std::stoi(m[1]), n = std::stoi(m[2]);
        ASSERT_EQ(next[writer]++, n) << "writer " << writer;
        ASSERT_EQ(std::string(1, static_cast<char>('a' + writer)), m[3].str());
        if (n % 3 == 0) {
            ASSERT_EQ(dump, i + 1 < lines.size() ? lines[++i] : "") << i;
        }
    }
    for (int w = 0; w < kWriters; ++w) EXPECT_EQ(kRecords, next[w]) << "writer " << w;
}

}  // namespace

TEST(Concurrency, ProcessesWritingOnePrefixAtOnceLeaveOnlyWholeRecords) {
    TempDir dir;
    std::string prefix = dir.file("Shared");
    logSo();  // loaded before the children start
    std::vector<pid_t> children;
    for (int w = 0; w < kWriters; ++w) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            // A session per process; the small limit makes them rotate while
            // the others write.
            int index = logSo().createLog(prefix.c_str(), 10, 64 * 1024, ~0u);
            _exit(index >= 1 && writeRecords(index, w) == 0 ? 0 : 1);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(pid, waitpid(pid, &status, 0));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_GT(todaysFiles(prefix).size(), 5u);
    expectWholeRecords(prefix);
}

TEST(Concurrency, ThreadsOfOneSessionLeaveOnlyWholeRecords) {
    TempDir dir;
    Session s(dir.file("Threads"), 10, 64 * 1024, ~0u);
    std::vector<std::thread> threads;
    std::vector<int> failures(kWriters);
    for (int w = 0; w < kWriters; ++w) {
        threads.emplace_back([&, w] { failures[w] = writeRecords(s.index, w); });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(std::vector<int>(kWriters, 0), failures);
    expectWholeRecords(dir.file("Threads"));
}
