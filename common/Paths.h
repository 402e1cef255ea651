#pragma once
// Where things are: the running library's own directory, the working
// directory.

// Directory of the running library, ending in "/"; empty until
// getModulePath() succeeds. File names are appended to it directly.
extern char modulePath[256];

void getModulePath();
char* getCurrentPath(char* buf, unsigned int size);
// No USB search on this platform: always -1.
int SearchUSB(const char* vid, const char* pid, char* out);
