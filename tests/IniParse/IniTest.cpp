#include <gtest/gtest.h>
#include <strings.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <random>
#include <tuple>
#include <vector>

#include "IniParse/minIni.h"
#include "support/TestSupport.h"

namespace {

using Entry = std::tuple<std::string, std::string, std::string>;  // section, key, value

// What ini_browse reports; it is told to stop after stopAfter entries.
std::vector<Entry> browse(const std::string& path, size_t stopAfter = SIZE_MAX) {
    std::pair<std::vector<Entry>, size_t> seen{{}, stopAfter};
    auto add = [](const char* section, const char* key, const char* value, const void* user) {
        auto* p = static_cast<decltype(seen)*>(const_cast<void*>(user));
        p->first.emplace_back(section, key, value);
        return p->first.size() < p->second ? 1 : 0;
    };
    EXPECT_EQ(1, ini_browse(add, &seen, path.c_str()));
    return seen.first;
}

}  // namespace

TEST(IniReading, FollowsTheSyntaxRulesForNamesDelimitersCommentsAndQuotes) {
    const struct {
        const char *file, *section, *key, *expected;  // "?": not found
    } cases[] = {
        {"[device]\nPort=1\n", "DEVICE", "pORT", "1"},
        {"[Device ]\nPort=1\n", "Device", "Port", "?"},  // names are not trimmed
        {"[Device]\nPort=1\n", "Dev", "Port", "?"},
        {"  [A]  text after the bracket\n  k  =1\n", "A", "k", "1"},
        {"[A\nk=1\n", "A", "k", "?"},
        {"k=top\n[A]\nk=a\n", "", "k", "top"},
        {"k=top\n[A]\nk=a\n", "A", "k", "a"},
        {"[A]\nx=1\n[B]\nk=b\n", "A", "k", "?"},
        {"[A]\nk=first\nK=second\n", "A", "k", "first"},
        {"[A]\nKey : value\n", "A", "Key", "value"},
        {"[A]\nk:v=w\n", "A", "k:v", "w"},
        {"[A]\n;k=c\n  #k=d\nk=e\n", "A", "k", "e"},
        {"[A]\n\tk\t=\t  v  \r\n", "A", "k", "v"},
        {"[A]\nk=\n", "A", "k", ""},
        {"[A]\nk=v\xE9\n", "A", "k", "v"},  // bytes from 128 up count as white space
        {"[A]\nk=\"a;b\" ; comment\n", "A", "k", "a;b"},
        {"[A]\nk=a;b\n", "A", "k", "a"},
        {"[A]\nk=9600 # baud\n", "A", "k", "9600"},
        {"[A]\nk=\"say \\\"hi\\\"\"\n", "A", "k", "say \"hi\""},
        {"[A]\nk=\"x\"\"y\"\n", "A", "k", "x\"y"},
        {"[A]\nk=\"  padded  \"\n", "A", "k", "  padded  "},
        {"[A]\nk=it\\\"s;x\n", "A", "k", "it\\\"s"},  // unquoted: escapes stay
    };
    siutest::TempDir dir;
    for (const auto& c : cases) {
        std::string path = dir.write("t.ini", c.file);
        char buf[INI_BUFFERSIZE];
        int len = ini_gets(c.section, c.key, "?", buf, sizeof buf, path.c_str());
        EXPECT_EQ(c.expected, std::string(buf, len)) << c.file;
    }
}

TEST(IniReading, BoundsEveryCopyAndFallsBackToTheDefault) {
    siutest::TempDir dir;
    std::string path = dir.write(
        "t.ini", "long=" + std::string(600, 'v') + "\nx=" + std::string(509, 'a') + "k=piece\n");
    const char* p = path.c_str();
    char buf[INI_BUFFERSIZE] = "default";
    EXPECT_EQ(511 - 5, ini_gets("", "long", "", buf, sizeof buf, p));
    EXPECT_EQ(3, ini_gets("", "long", "", buf, 4, p));
    EXPECT_EQ(5, ini_gets("", "k", "", buf, sizeof buf, p));  // the 2nd piece of the long line
    std::strcpy(buf, "default");
    EXPECT_EQ(3, ini_gets("", "missing", buf, buf, 4, p));  // default in the buffer
    EXPECT_STREQ("def", buf);
    EXPECT_EQ(0, ini_gets("", "k", "d", nullptr, 8, p));
    EXPECT_EQ(0, ini_gets("", "k", "d", buf, 0, p));
    EXPECT_EQ(0, ini_gets("", nullptr, "d", buf, 8, p));
    EXPECT_STREQ("def", buf);
    EXPECT_EQ(0, ini_browse(nullptr, nullptr, p));
    for (const char* file : {static_cast<const char*>(nullptr), "/nonexistent/t.ini"}) {
        EXPECT_EQ(1, ini_gets("", "k", "d", buf, 8, file));
        EXPECT_STREQ("d", buf);
        EXPECT_EQ(0, ini_getsection(0, buf, 8, file));
        EXPECT_EQ(0, ini_section_is_valid("A", file));
    }
}

TEST(IniNumbers, ConvertByTheirLeadingTextAndWriteAsDecimal) {
    const struct {
        const char* text;
        long number;  // -1: the default
        int flag;     // 7: the default
    } cases[] = {{"0x10", 16, 0}, {"0X1f", 31, 0}, {"010", 10, 0},  {"12abc", 12, 1},
                 {"abc", 0, 7},   {"", -1, 7},     {"true", 0, 1},  {"Yes", 0, 1},
                 {"FALSE", 0, 0}, {"no", 0, 0},    {"maybe", 0, 7}, {"off", 0, 7}};
    siutest::TempDir dir;
    for (const auto& c : cases) {
        std::string path = dir.write("t.ini", std::string("k=") + c.text + "\n");
        EXPECT_EQ(c.number, ini_getl(nullptr, "k", -1, path.c_str())) << c.text;
        EXPECT_EQ(c.flag, ini_getbool("", "k", 7, path.c_str())) << c.text;
    }
    std::string path = dir.write("t.ini", "f=2.5\n");
    EXPECT_FLOAT_EQ(2.5f, ini_getf("", "f", 0.0f, path.c_str()));
    EXPECT_EQ(1, ini_putl(nullptr, "min", LONG_MIN, path.c_str()));
    EXPECT_EQ("f=2.5\nmin=-9223372036854775808\n", siutest::readWholeFile(path));
}

TEST(IniEnumerating, ListsHeadersKeyLinesAndEveryEntryInFileOrder) {
    siutest::TempDir dir;
    std::string path = dir.write(
        "t.ini", "top = 0\n;c=1\n[First]\n a = \"q;\\\"\" ; c\nno delimiter\n b : 2\n[]\n[S ]\n");
    const char* p = path.c_str();
    char buf[16];
    std::vector<std::string> names;
    for (int i = 0; i < 4; ++i) names.push_back(ini_getsection(i, buf, sizeof buf, p) ? buf : "-");
    EXPECT_EQ((std::vector<std::string>{"First", "-", "S ", "-"}), names);
    EXPECT_EQ(1, ini_getkey("first", 1, buf, sizeof buf, p));
    EXPECT_STREQ("b", buf);
    EXPECT_EQ(3, ini_getkey(nullptr, 0, buf, sizeof buf, p));
    EXPECT_EQ((std::vector<Entry>{{"", "top", "0"}, {"First", "a", "q;\""}, {"First", "b", "2"}}),
              browse(path));
    EXPECT_EQ(1u, browse(path, 1).size());  // the callback said stop
    // Ten bytes remain for each line piece behind a 500-byte section name.
    std::string name(500, 's');
    path = dir.write("t.ini", "[" + name + "]\nabc=defghijklmnop\n[B]\nk=v\n");
    EXPECT_EQ((std::vector<Entry>{{name, "abc", "defghi"}, {"B", "k", "v"}}), browse(path));
}

TEST(IniWriting, ChangesOnlyWhatTheWriteNamesAndTheLineEndItNeeds) {
    const char* f = "top=0\n[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0";
    const std::string s(600, 's'), k(600, 'k'), v(600, 'v');
    const struct {
        const char *before, *section, *key, *value;  // nullptr file: none
        std::string after;                           // "-": no file
    } cases[] = {
        {f, "a", "n", "2", "top=0\n[A]\nk=1\n; note\nj : 2\n\nn=2\n[B]\nz=0"},
        {f, "B", "n", "2", "top=0\n[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0\nn=2\n"},
        {f, nullptr, "n", "2", "top=0\nn=2\n[A]\nk=1\n; note\nj : 2\n\n[B]\nz=0"},
        {f, "A", "J", "3", "top=0\n[A]\nk=1\n; note\nJ=3\n\n[B]\nz=0"},
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
        {nullptr, "A", nullptr, nullptr, "-"},
        // Every written line fits the line buffer, so it reads back in one piece.
        {nullptr, s.c_str(), k.c_str(), "v",
         "[" + s.substr(0, 507) + "]\n" + k.substr(0, 508) + "=\n"},
        {nullptr, "N", "k", v.c_str(), "[N]\nk=" + v.substr(0, 507) + "\n"},
    };
    for (const auto& c : cases) {
        siutest::TempDir dir;
        std::string path = c.before ? dir.write("t.ini", c.before) : dir.file("t.ini");
        EXPECT_EQ(1, ini_puts(c.section, c.key, c.value, path.c_str()));
        EXPECT_EQ(c.after, access(path.c_str(), F_OK) == 0 ? siutest::readWholeFile(path) : "-")
            << "case " << &c - cases;
        EXPECT_NE(0, access(dir.file("t.in~").c_str(), F_OK));
    }
}

TEST(IniWriteSafety, ReplacesTheFileByRenameOnlyOrLeavesItAsItWas) {
    siutest::TempDir dir(siutest::TempDir::inMemory());
    std::string path = dir.file("t.ini");
    const char* p = path.c_str();
    int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_LE(0,
              inotify_add_watch(watch, dir.path().c_str(),
                                IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_TO));
    ASSERT_EQ(1, ini_puts("A", "k", "created", p));
    ASSERT_EQ(0, chmod(p, 0640));
    ASSERT_EQ(1, ini_puts("A", "k", "v;1", p));
    ASSERT_EQ(1, ini_puts("a", "K", "v;1", p));  // unchanged: not even opened for writing
    for (const char* section : {"new", "B"}) ASSERT_EQ(1, ini_puts(section, "x", "v", p));
    ASSERT_EQ(1, ini_puts("new", "x", nullptr, p));
    ASSERT_EQ(1, ini_puts("B", nullptr, nullptr, p));
    // Never deleted, created or written in place: a complete new version is renamed over it.
    std::vector<uint32_t> events;
    alignas(inotify_event) char buf[64 * 1024];
    for (ssize_t n; (n = read(watch, buf, sizeof buf)) > 0;)
        for (char* e = buf; e < buf + n; e += sizeof(inotify_event) + ((inotify_event*)e)->len)
            if (auto* ev = (inotify_event*)e; ev->len > 0 && std::string(ev->name) == "t.ini")
                events.push_back(ev->mask);
    close(watch);
    EXPECT_EQ(std::vector<uint32_t>(6, IN_MOVED_TO), events);
    struct stat st;
    ASSERT_EQ(0, stat(p, &st));
    EXPECT_EQ(0640u, st.st_mode & 07777);

    const std::string text = siutest::readWholeFile(path);
    EXPECT_EQ(0, ini_puts("A", "k", "line\nbreak", p));                       // would inject lines
    EXPECT_EQ(0, ini_puts("A", "k", "2", dir.write("t.in~", text).c_str()));  // its own temp name
    ASSERT_EQ(0, unlink(dir.file("t.in~").c_str()));
    ASSERT_EQ(0, mkdir(dir.file("t.in~").c_str(), 0755));  // the temporary file cannot be made
    EXPECT_EQ(0, ini_puts("A", "k", "2", p));
    EXPECT_EQ(0, ini_puts("A", nullptr, nullptr, p));
    EXPECT_EQ(text, siutest::readWholeFile(path));
}

// Random writes and deletes go to a file and to a model of what it must hold:
// the nameless section first, then the others in order of creation; a header
// keeps its first spelling, a key its place and the spelling of its last change.
TEST(IniRoundTrip, RandomWritesAndDeletesReadBackAsTheModelSays) {
    auto find = [](auto& list, const std::string& name) {
        return std::find_if(list.begin(), list.end(), [&](const auto& e) {
            return strcasecmp(e.first.c_str(), name.c_str()) == 0;
        });
    };
    for (unsigned seed : {1u, 2u, 3u, 4u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 rng(seed);
        auto mixedCase = [&](std::string s) {
            for (char& c : s) c = rng() % 2 ? static_cast<char>(std::toupper(c)) : c;
            return s;
        };
        siutest::TempDir dir(siutest::TempDir::inMemory());  // a rename on disk waits for the disk
        const std::string path = dir.file("NorvaSensorBoard.ini");
        std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> model{
            {"", {}}};
        for (int op = 1; op <= 1000; ++op) {
            const char* sections[] = {"", "alpha", "beta", "delta.door", "e"};
            const char* keys[] = {"k", "port", "DeviceTimeOut", "x1", "key"};
            std::string section = mixedCase(sections[rng() % 5]), key = mixedCase(keys[rng() % 5]);
            // Quotes, escapes, comments, delimiters, brackets, blanks and a high byte.
            static const char chars[] = "abcXYZ019 ;#\"\\=:[]\t\xE9";
            std::string value(rng() % 12, ' ');
            for (char& c : value) c = chars[rng() % (sizeof chars - 1)];
            unsigned kind = rng() % 20;
            const char* k = kind < 19 ? key.c_str() : nullptr;    // 1 in 20 deletes a section
            const char* v = kind < 14 ? value.c_str() : nullptr;  // 5 in 20 delete a key
            ASSERT_EQ(1, ini_puts(section.empty() ? nullptr : section.c_str(), k, v, path.c_str()));
            auto s = find(model, section);
            if (s == model.end()) {
                if (v != nullptr) model.push_back({section, {{key, value}}});
            } else if (k == nullptr) {
                section.empty() ? s->second.clear() : (void)model.erase(s);
            } else if (auto kv = find(s->second, key); kv == s->second.end()) {
                if (v != nullptr) s->second.emplace_back(key, value);
            } else if (v == nullptr) {
                s->second.erase(kv);
            } else if (kv->second != value) {
                *kv = {key, value};
            }
            if (op % 100 != 0) continue;
            std::vector<Entry> entries;
            for (const auto& [name, keyValues] : model)
                for (const auto& kv : keyValues) entries.emplace_back(name, kv.first, kv.second);
            ASSERT_EQ(entries, browse(path)) << "after operation " << op;
        }
    }
}
