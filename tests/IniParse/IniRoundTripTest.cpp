// Random sequences of writes and deletes, applied both to a file and to a
// plain in-memory model; the whole file is then read back and compared.

#include <gtest/gtest.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "IniParse/IniTestUtil.h"
#include "IniParse/minIni.h"
#include "support/TestSupport.h"

namespace {

bool sameName(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

// What the file must hold: the nameless section first, then the named ones in
// the order they were created. A header keeps the spelling it was created
// with; a key line takes the spelling of the last write that changed it.
struct Model {
    struct Section {
        std::string name;
        std::vector<std::pair<std::string, std::string>> keys;
    };
    std::vector<Section> sections{{"", {}}};

    Section* find(const std::string& name) {
        for (auto& s : sections)
            if (sameName(s.name, name)) return &s;
        return nullptr;
    }
    void put(const std::string& section, const std::string& key, const std::string& value) {
        Section* s = find(section);
        if (s == nullptr) s = &sections.emplace_back(Section{section, {}});
        for (auto& kv : s->keys) {
            if (!sameName(kv.first, key)) continue;
            if (kv.second != value) kv = {key, value};  // unchanged: file untouched
            return;
        }
        s->keys.emplace_back(key, value);
    }
    void eraseKey(const std::string& section, const std::string& key) {
        if (Section* s = find(section))
            s->keys.erase(std::remove_if(s->keys.begin(), s->keys.end(),
                                         [&](const auto& kv) { return sameName(kv.first, key); }),
                          s->keys.end());
    }
    void eraseSection(const std::string& section) {
        if (section.empty()) {
            sections[0].keys.clear();
            return;
        }
        sections.erase(std::remove_if(sections.begin(), sections.end(),
                                      [&](const Section& s) { return sameName(s.name, section); }),
                       sections.end());
    }
};

struct Random {
    std::mt19937 rng;
    int below(int n) { return static_cast<int>(rng() % n); }
    std::string mixedCase(std::string s) {
        for (char& c : s)
            if (below(2)) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return s;
    }
    std::string pick(const std::vector<const char*>& names) {
        return mixedCase(names[below(static_cast<int>(names.size()))]);
    }
    // Quotes, backslashes, comment characters, delimiters, brackets, blanks at
    // either end and a high byte, which the reader takes for white space.
    std::string value() {
        static const std::string chars = "abcXYZ019 ;#\"\\=:[]\t\xE9";
        std::string v(below(12), ' ');
        for (char& c : v) c = chars[below(static_cast<int>(chars.size()))];
        return v;
    }
};

const char* orNull(const std::string& section) {
    return section.empty() ? nullptr : section.c_str();
}

// Reads the whole file back through every read entry point, asking for names
// in random case.
void expectFileHolds(const Model& m, const std::string& path, Random& rnd) {
    std::vector<initest::Entry> entries;
    std::vector<std::string> headers, read;
    for (const auto& s : m.sections) {
        if (!s.name.empty()) headers.push_back(s.name);
        for (const auto& kv : s.keys) entries.emplace_back(s.name, kv.first, kv.second);
    }
    ASSERT_EQ(entries, initest::browse(path));
    const char* p = path.c_str();
    char buf[INI_BUFFERSIZE];
    while (ini_getsection(static_cast<int>(read.size()), buf, sizeof buf, p) > 0)
        read.push_back(buf);
    ASSERT_EQ(headers, read);
    for (const auto& s : m.sections) {
        std::string section = rnd.mixedCase(s.name);
        ASSERT_EQ(s.name.empty() ? 0 : 1, ini_section_is_valid(section.c_str(), p));
        for (size_t i = 0; i <= s.keys.size(); ++i) {
            ini_getkey(orNull(section), static_cast<int>(i), buf, sizeof buf, p);
            ASSERT_EQ(i < s.keys.size() ? s.keys[i].first : "", buf);
            if (i == s.keys.size()) break;
            std::string key = rnd.mixedCase(s.keys[i].first);
            ini_gets(orNull(section), key.c_str(), "<none>", buf, sizeof buf, p);
            ASSERT_EQ(s.keys[i].second, buf) << "[" << s.name << "] " << key;
        }
    }
}

class IniRoundTrip : public testing::TestWithParam<unsigned> {};

TEST_P(IniRoundTrip, RandomWritesAndDeletesReadBackAsTheModelSays) {
    const unsigned seed = GetParam();
    std::printf("seed %u\n", seed);
    SCOPED_TRACE("seed " + std::to_string(seed));
    siutest::TempDir dir(siutest::TempDir::inMemory());  // a rename on disk waits for the disk
    const std::string path = dir.file("NorvaSensorBoard.ini");
    Random rnd{std::mt19937(seed)};
    Model model;
    for (int op = 1; op <= 1000; ++op) {
        std::string section = rnd.pick({"", "alpha", "beta", "gamma", "delta.door", "e"});
        std::string key = rnd.pick({"k", "port", "baud", "DeviceTimeOut", "x1", "key"});
        std::string value = rnd.value();
        int kind = rnd.below(20);
        const char* k = kind < 19 ? key.c_str() : nullptr;    // 1 in 20 deletes a section
        const char* v = kind < 14 ? value.c_str() : nullptr;  // 5 in 20 delete a key
        ASSERT_EQ(1, ini_puts(orNull(section), k, v, path.c_str()));
        if (v != nullptr)
            model.put(section, key, value);
        else if (k != nullptr)
            model.eraseKey(section, key);
        else
            model.eraseSection(section);
        if (op % 100 == 0) {
            SCOPED_TRACE("after operation " + std::to_string(op));
            ASSERT_NO_FATAL_FAILURE(expectFileHolds(model, path, rnd));
        }
    }
    EXPECT_NE(0, access(dir.file("NorvaSensorBoard.in~").c_str(), F_OK));
}

INSTANTIATE_TEST_SUITE_P(Seeds, IniRoundTrip, testing::Values(1u, 2u, 3u, 4u));

}  // namespace
