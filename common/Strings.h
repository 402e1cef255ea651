#pragma once
// Text helpers on C strings.

#include <memory>

// A new[] copy of text with its terminator. Out of memory throws
// std::bad_alloc, as new does.
std::unique_ptr<char[]> copyText(const char* text);
void rtrim(char* s);
// New array without any space (tabs kept); caller frees with delete[].
char* strTrim(const char* s);
int removeCharFromString(char* s, char c);
int stricmp(const char* a, const char* b);
