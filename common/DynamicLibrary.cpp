#include "common/DynamicLibrary.h"

#include <dlfcn.h>

#include "manager/Global.h"

int OpenLibrary(void** handle, const char* path) {
    if (handle == nullptr || path == nullptr) return -1;
    *handle = dlopen(path, RTLD_LAZY);
    return *handle != nullptr ? 0 : -1;
}

int CloseLibrary(void* handle) {
    if (handle == nullptr) return 0;
    return dlclose(handle) == 0 ? 0 : -1;
}

int GetSymbolAddress(void* handle, const char* name, void** address) {
    if (handle == nullptr || name == nullptr || address == nullptr) return ERR_GEN_INTERNAL_ERROR;
    *address = dlsym(handle, name);
    return *address != nullptr ? SUCCESS : ERR_GEN_INTERNAL_ERROR;
}
