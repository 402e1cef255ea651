#pragma once
// Whole-file reading and writing.

void readFile(const char* path, unsigned char** buf, unsigned int* len);
int writeFile(const char* path, const unsigned char* buf, unsigned int n);
