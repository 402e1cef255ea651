#include "common/Files.h"

#include <cstdio>
#include <memory>

#include "common/UniqueHandles.h"

void readFile(const char* path, unsigned char** buf, unsigned int* len) {
    if (len == nullptr) return;
    *len = 0;
    if (path == nullptr || buf == nullptr) return;
    UniqueFile f(std::fopen(path, "rb"));
    if (!f) return;
    if (std::fseek(f.get(), 0, SEEK_END) != 0) return;
    long size = std::ftell(f.get());
    if (size <= 0 || static_cast<unsigned long>(size) > 0xFFFFFFFFul) return;
    std::rewind(f.get());
    std::unique_ptr<unsigned char[]> data(new unsigned char[static_cast<size_t>(size)]);
    size_t got = std::fread(data.get(), 1, static_cast<size_t>(size), f.get());
    *len = static_cast<unsigned int>(got);
    // A short read releases the buffer: the caller sees *len != file size.
    if (got == static_cast<size_t>(size)) *buf = data.release();
}

int writeFile(const char* path, const unsigned char* buf, unsigned int n) {
    if (path == nullptr || (buf == nullptr && n > 0)) return -1;
    UniqueFile f(std::fopen(path, "wb"));
    if (!f) return -1;
    if (n > 0 && std::fwrite(buf, 1, n, f.get()) != n) return -1;
    return std::fclose(f.release()) == 0 ? 0 : -1;
}
