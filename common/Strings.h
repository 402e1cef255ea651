#pragma once
// Text helpers on C strings.

void rtrim(char* s);
// New array without any space (tabs kept); caller frees with delete[].
char* strTrim(const char* s);
int removeCharFromString(char* s, char c);
int stricmp(const char* a, const char* b);
