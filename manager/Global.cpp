#include "manager/Global.h"

#include <cstdlib>
#include <cstring>
#include <memory>

const char* getGlobalStrErrors(int iErrorCod) {
    switch (iErrorCod) {
#define SIU_RESULT(name, value) \
    case name:                  \
        return #name;
#define SIU_RESULT_TEXT(name, value, text) \
    case name:                             \
        return text;
#include "manager/ResultCodes.def"
    default: return "NULL";
    }
}

unsigned long convertStringVersionToLongInt(char* str, int str_size) {
    if (str == nullptr) return 0;
    if (str_size < 0) str_size = 0;
    // A terminated private copy: the caller's text need not be terminated
    // within str_size bytes.
    std::unique_ptr<char[]> copy(new char[static_cast<size_t>(str_size) + 1]());
    std::memcpy(copy.get(), str, strnlen(str, static_cast<size_t>(str_size)));

    unsigned long result = 0;
    int field = 0;
    char* cur = copy.get();
    bool dotFound;
    do {
        char* dot = std::strchr(cur, '.');
        dotFound = dot != nullptr;
        if (dotFound || *cur != '\0') {
            if (dotFound) *dot = '\0';
            unsigned long byte = static_cast<unsigned long>(std::atoi(cur)) & 0xFFUL;
            result += byte << (24 - 8 * field);
            cur += std::strlen(cur) + (dotFound ? 1 : 0);
            ++field;
        }
    } while (field < 4 && dotFound);
    return result & 0xFFFFFFFFUL;
}
