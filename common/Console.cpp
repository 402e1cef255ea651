#include "common/Console.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

char* getString(char* buf, int size) {
    if (buf == nullptr || size < 1) return nullptr;
    buf[0] = '\0';
    if (std::fgets(buf, size, stdin) == nullptr) return buf;
    buf[std::strcspn(buf, "\r\n")] = '\0';
    return buf;
}

int getInt() {
    char line[64];
    return std::atoi(getString(line, sizeof line));
}

char getChar() {
    char line[64];
    return getString(line, sizeof line)[0];
}

float getFloat() {
    char line[64];
    return static_cast<float>(std::atof(getString(line, sizeof line)));
}

void printBufferEx(const unsigned char* buf, unsigned int len) {
    if (buf == nullptr) return;
    for (unsigned int i = 0; i < len; ++i) std::printf("%02x ", buf[i]);
    std::printf("\n");
}
