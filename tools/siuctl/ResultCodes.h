#pragma once
// What siuctl tells a technician about a result code of the library.

#include <string>

namespace siuctl {

// Every result code of the library, under its own name (rc::ERR_SER_TIMEOUT).
namespace rc {
enum : int {
#define SIU_RESULT(name, value) name = value,
#include "manager/ResultCodes.def"
};
}  // namespace rc

// What a hint may refer to.
struct HintContext {
    std::string service;
    std::string library;  // path of the loaded library
    std::string item;     // the indicator a command named, if any
};

// The code's name (ERR_SER_TIMEOUT), or its number as text for a value that is
// not a result code of the library.
std::string codeName(int code);

// One line: what probably went wrong and where to look.
std::string codeHint(int code, const HintContext& ctx);

}  // namespace siuctl
