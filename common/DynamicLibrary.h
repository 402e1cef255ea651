#pragma once
// Loading a shared library and finding its symbols.

typedef void* LIB_HANDLE;

int OpenLibrary(void** handle, const char* path);
int CloseLibrary(void* handle);
int GetSymbolAddress(void* handle, const char* name, void** address);
