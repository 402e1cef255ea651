#include "SimHarness.h"

namespace simtest {

std::string wireName(const ::testing::TestParamInfo<Wire>& info) {
    return info.param == Wire::Direct ? "direto" : "rs485";
}

std::string Sim::output(const std::string& name) const {
    const std::string all = control("outputs") + " ";
    size_t at = all.find(" " + name + "=");
    if (at == std::string::npos) return "?";
    at += name.size() + 2;
    return all.substr(at, all.find(' ', at) - at);
}

}  // namespace simtest
