#pragma once
// What siuctl tells a technician about a result code of the library.

#include <string>

namespace siuctl {

// What a hint may refer to.
struct HintContext {
    std::string service;
    std::string library;  // path of the loaded library
    std::string item;     // the indicator a command named, if any
};

// The code's name (ERR_SER_TIMEOUT), or its number as text for codes without
// a name in siuctl's table.
std::string codeName(int code);

// One line: what probably went wrong and where to look.
std::string codeHint(int code, const HintContext& ctx);

}  // namespace siuctl
