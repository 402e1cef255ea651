#pragma once
// Console helpers (debugging aids): reading a line from standard input and
// dumping bytes to standard output.

char* getString(char* buf, int size);
int getInt();
char getChar();
float getFloat();
void printBufferEx(const unsigned char* buf, unsigned int len);
