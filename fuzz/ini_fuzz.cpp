// Arbitrary bytes as the content of an INI file. Every read must stay inside
// its buffers, and a key written into a section the file has must read back
// as written, leaving the file in place and no temporary file behind.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "IniParse/minIni.h"

namespace {

std::string workDir, workFile, tempFile;

void check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "ini_fuzz: %s\n", what);
    std::abort();
}

int onEntry(const char* section, const char* key, const char* value, const void* count) {
    check(std::strlen(section) + std::strlen(key) + std::strlen(value) + 3 <= INI_BUFFERSIZE,
          "browse overran its buffer");
    return ++*static_cast<int*>(const_cast<void*>(count)) < 200;
}

void readSection(const char* section, const char* path) {
    char buf[INI_BUFFERSIZE], small[3];
    ini_section_is_valid(section, path);
    for (int i = 0; ini_getkey(section, i, buf, sizeof buf, path) > 0 && i < 4; ++i) {
        std::string key = buf;
        int len = ini_gets(section, key.c_str(), "default", buf, sizeof buf, path);
        check(len == static_cast<int>(std::strlen(buf)), "gets length");
        check(ini_gets(section, key.c_str(), "", small, sizeof small, path) <= 2, "gets bound");
        ini_getl(section, key.c_str(), 0, path);
        ini_getf(section, key.c_str(), 0.0f, path);
        ini_getbool(section, key.c_str(), -1, path);
    }
}

void put(const char* section, const char* key, const char* value) {
    check(ini_puts(section, key, value, workFile.c_str()) == 1, "write failed");
    check(access(workFile.c_str(), F_OK) == 0, "file missing after a write");
    check(access(tempFile.c_str(), F_OK) != 0, "temporary file left behind");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (workDir.empty()) {  // in memory when possible: every write renames a file
        workDir =
            std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/ini_fuzz.XXXXXX";
        check(mkdtemp(workDir.data()) != nullptr, "no work directory");
        workFile = workDir + "/f.ini";
        tempFile = workDir + "/f.in~";
        std::atexit([] {
            std::remove(workFile.c_str());
            rmdir(workDir.c_str());
        });
    }
    const char* path = workFile.c_str();
    FILE* fp = std::fopen(path, "wb");
    check(fp != nullptr && std::fwrite(data, 1, size, fp) == size && std::fclose(fp) == 0,
          "cannot write the input");

    std::vector<std::string> sections{""};  // the nameless section first
    char buf[INI_BUFFERSIZE];
    for (int i = 0; ini_getsection(i, buf, sizeof buf, path) > 0 && i < 3; ++i)
        sections.push_back(buf);
    for (const auto& s : sections) readSection(s.c_str(), path);
    int entries = 0;
    check(ini_browse(onEntry, &entries, path) == 1, "browse failed");

    const char* section = sections.back().c_str();
    const char* value = " fuzz \"value\" ; # ";
    put(section, "FuzzKey", value);
    check(ini_gets(section, "fuzzkey", "", buf, sizeof buf, path) > 0 && !std::strcmp(buf, value),
          "written value does not read back");
    put(section, "FuzzKey", nullptr);
    put(sections.size() > 1 ? sections[1].c_str() : "A", nullptr, nullptr);
    readSection(section, path);
    return 0;
}
