#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "IniParse/minIni.h"
#include "support/TestSupport.h"

using siutest::readWholeFile;

namespace {

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

struct Rewrite {
    const char* before;  // nullptr: no file
    const char* section;
    const char* key;
    const char* value;
    const char* after;
};

}  // namespace

TEST(IniWriting, ChangesOnlyWhatTheWriteNamesAndTheLineEndItNeeds) {
    const char* f = "top=0\n[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0";
    const Rewrite cases[] = {
        {"[A]\nk=1", "B", "x", "2", "[A]\nk=1\n[B]\nx=2\n"},  // line end added, section appended
        {"[A]\nk=1\n", "B", "x", "2", "[A]\nk=1\n[B]\nx=2\n"},
        {f, "a", "n", "2", "top=0\n[A]\nk=1\n; note\nj : 2\n\nn=2\n[B]\nz=0"},
        {f, "B", "n", "2", "top=0\n[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0\nn=2\n"},
        {f, nullptr, "n", "2", "top=0\nn=2\n[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0"},
        {f, "A", "J", "3", "top=0\n[A]\nk=1\n; note\nJ=3\n\n[B]\nz=0"},  // ":" becomes "="
        {f, "A", "K", nullptr, "top=0\n[A]\n; note\nj : 2\n\n[B]\nz=0"},
        {f, "a", nullptr, nullptr, "top=0\n[B]\nz=0"},
        {f, "B", nullptr, nullptr, "top=0\n[A]\nk=1\n; note\nj : 2\n\n"},
        {f, "", nullptr, nullptr, "[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0"},
        {f, "A", "none", nullptr, f},
        {f, "None", nullptr, nullptr, f},
        {"", nullptr, "k", "abc ", "k=\"abc \"\n"},
        {"", nullptr, "k", " lead", "k=\" lead\"\n"},
        {"", nullptr, "k", "a;b#c", "k=\"a;b#c\"\n"},
        {"", nullptr, "k", "say \"hi\"", "k=\"say \\\"hi\\\"\"\n"},
        {"", nullptr, "k", "back\\slash", "k=back\\slash\n"},
        {nullptr, "A", "k", "v", "[A]\nk=v\n"},
        {nullptr, "", "k", "v", "k=v\n"},
        {nullptr, "A", "k", nullptr, nullptr},
        {nullptr, "A", nullptr, nullptr, nullptr},
    };
    for (const auto& c : cases) {
        siutest::TempDir dir;
        std::string path = c.before ? dir.write("t.ini", c.before) : dir.file("t.ini");
        EXPECT_EQ(1, ini_puts(c.section, c.key, c.value, path.c_str()));
        EXPECT_EQ(c.after ? c.after : "(none)", exists(path) ? readWholeFile(path) : "(none)")
            << c.before << " [" << (c.section ? c.section : "") << "] " << (c.key ? c.key : "")
            << "=" << (c.value ? c.value : "");
        EXPECT_FALSE(exists(dir.file("t.in~")));
    }
}

TEST(IniWriting, LeavesTheFileUntouchedWhenTheValueIsUnchanged) {
    siutest::TempDir dir;
    const std::string text = "[A]\nKey = \"v;1\" ; comment\n";
    std::string path = dir.write("t.ini", text);
    const timespec old[2] = {{946684800, 0}, {946684800, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), old, 0));
    EXPECT_EQ(1, ini_puts("a", "KEY", "v;1", path.c_str()));
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    EXPECT_EQ(946684800, st.st_mtim.tv_sec);
    EXPECT_EQ(text, readWholeFile(path));
}

TEST(IniWriting, WritesNumbersAsDecimalTextAndCutsOverlongLines) {
    siutest::TempDir dir;
    std::string path = dir.file("t.ini");
    const char* p = path.c_str();
    EXPECT_EQ(1, ini_putl("N", "min", LONG_MIN, p));
    EXPECT_EQ(1, ini_putl("N", "zero", 0, p));
    EXPECT_EQ(1, ini_putf("N", "f", -2.5f, p));
    EXPECT_EQ(LONG_MIN, ini_getl("N", "min", 0, p));
    const std::string s(600, 's'), k(600, 'k'), v(600, 'v');
    EXPECT_EQ(1, ini_puts(s.c_str(), k.c_str(), "v", p));
    EXPECT_EQ(1, ini_puts("N", "k", v.c_str(), p));
    // Every written line fits the line buffer, so it reads back in one piece.
    EXPECT_EQ("[N]\nmin=-9223372036854775808\nzero=0\nf=-2.500000\nk=" + v.substr(0, 507) + "\n[" +
                  s.substr(0, 507) + "]\n" + k.substr(0, 508) + "=\n",
              readWholeFile(path));
}

TEST(IniWriteSafety, ReplacesTheFileOnlyByRenameKeepingItsPermissions) {
    siutest::TempDir dir(siutest::TempDir::inMemory());
    std::string path = dir.file("t.ini");
    struct Watch {
        int fd = inotify_init1(IN_NONBLOCK);
        ~Watch() { close(fd); }
    } watch;
    ASSERT_LE(0,
              inotify_add_watch(watch.fd, dir.path().c_str(),
                                IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_TO));
    ASSERT_EQ(1, ini_puts("A", "k", "created", path.c_str()));
    ASSERT_EQ(0, chmod(path.c_str(), 0640));
    int writes = 1;
    for (int i = 0; i < 20; ++i, writes += 3) {
        ASSERT_EQ(1, ini_puts("A", "k", std::to_string(i).c_str(), path.c_str()));
        ASSERT_EQ(
            1, ini_puts("B", std::to_string(i % 3).c_str(), i % 2 ? "v" : nullptr, path.c_str()));
        ASSERT_EQ(1, ini_puts(i % 2 ? "C" : "B", nullptr, nullptr, path.c_str()));
    }
    // The file is never deleted, created or written in place: each write
    // renames a complete new version over it.
    int renames = 0;
    alignas(inotify_event) char buf[64 * 1024];
    for (ssize_t n; (n = read(watch.fd, buf, sizeof buf)) > 0;) {
        for (char* e = buf; e < buf + n;
             e += sizeof(inotify_event) + reinterpret_cast<inotify_event*>(e)->len) {
            auto* ev = reinterpret_cast<inotify_event*>(e);
            if (ev->len == 0 || std::string(ev->name) != "t.ini") continue;
            EXPECT_EQ(static_cast<uint32_t>(IN_MOVED_TO), ev->mask);
            renames += ev->mask == IN_MOVED_TO;
        }
    }
    EXPECT_EQ(writes, renames);
    EXPECT_FALSE(exists(dir.file("t.in~")));
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    EXPECT_EQ(0640u, st.st_mode & 07777);
}

TEST(IniWriteSafety, FailsAndLeavesTheFileAsItWasWhenItCannotBeRewritten) {
    siutest::TempDir dir;
    const std::string text = "[A]\nk=1\n";
    std::string path = dir.write("t.ini", text);
    const char* p = path.c_str();
    EXPECT_EQ(0, ini_puts("A", "k", "line\nbreak", p));  // would inject lines
    EXPECT_EQ(0, ini_puts("A", "new\n[B]", "x", p));
    EXPECT_EQ(0, ini_puts("A", "k", "2", nullptr));
    EXPECT_EQ(0, ini_puts("A", "k", "2", dir.write("t.in~", text).c_str()));  // its own temp name
    ASSERT_EQ(0, unlink(dir.file("t.in~").c_str()));
    ASSERT_EQ(0, mkdir(dir.file("t.in~").c_str(), 0755));  // the temporary file cannot be made
    EXPECT_EQ(0, ini_puts("A", "k", "2", p));
    EXPECT_EQ(0, ini_puts("A", nullptr, nullptr, p));
    EXPECT_EQ(text, readWholeFile(path));
    ASSERT_EQ(0, mkdir(dir.file("d.ini").c_str(), 0755));  // opens, but reading fails
    EXPECT_EQ(0, ini_puts("A", "k", "2", dir.file("d.ini").c_str()));
    EXPECT_FALSE(exists(dir.file("d.in~")));
    EXPECT_EQ(0, ini_puts("A", "k", "2", dir.file("no/such/dir.ini").c_str()));
}
