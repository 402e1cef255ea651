#include "common/Strings.h"

#include <strings.h>

#include <cstring>

std::unique_ptr<char[]> copyText(const char* text) {
    size_t n = std::strlen(text) + 1;
    std::unique_ptr<char[]> copy(new char[n]);
    std::memcpy(copy.get(), text, n);
    return copy;
}

void rtrim(char* s) {
    if (s == nullptr || *s == '\0') return;
    char* p = s + std::strlen(s) - 1;
    while (*p == ' ' || *p == '\t') {
        *p = '\0';
        if (p == s) break;
        --p;
    }
}

char* strTrim(const char* s) {
    if (s == nullptr || *s == '\0') return nullptr;
    size_t n = std::strlen(s);
    char* out = new char[n + 1];
    size_t j = 0;
    for (size_t i = 0; i < n; ++i) {
        if (s[i] != ' ') out[j++] = s[i];
    }
    out[j] = '\0';
    return out;
}

int removeCharFromString(char* s, char c) {
    if (s == nullptr) return -1;
    char* w = s;
    for (char* r = s; *r != '\0'; ++r) {
        if (*r != c) *w++ = *r;
    }
    *w = '\0';
    return 0;
}

int stricmp(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
    return strcasecmp(a, b);
}
