#pragma once
// Collects what ini_browse reports.

#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "IniParse/minIni.h"

namespace initest {

using Entry = std::tuple<std::string, std::string, std::string>;  // section, key, value

inline std::vector<Entry> browse(const std::string& path, size_t stopAfter = SIZE_MAX,
                                 int* result = nullptr) {
    struct Visit {
        std::vector<Entry> seen;
        size_t stopAfter;
    } visit{{}, stopAfter};
    auto collect = [](const char* section, const char* key, const char* value, const void* user) {
        auto* v = static_cast<Visit*>(const_cast<void*>(user));
        v->seen.emplace_back(section, key, value);
        return v->seen.size() < v->stopAfter ? 1 : 0;
    };
    int r = ini_browse(collect, &visit, path.c_str());
    if (result != nullptr) *result = r;
    return visit.seen;
}

}  // namespace initest
