#pragma once
// The real siud, configured with examples/siud.ini, serving the example
// service of the siuctl bench (library, Log.so and configuration in a
// directory of their own, siusim running the example board).

#include "tools/siuctl/CtlBench.h"
#include "tools/siud/Client.h"

#include <map>

namespace siudtest {

using namespace ctltest;
using json = nlohmann::json;
using siud::Client;

// siud.ini from the example, with port 0, the bench's library, a short poll,
// and the keys given replaced (or added to [siud]).
inline std::string siudIni(const Bench& b, std::map<std::string, std::string> keys) {
    keys.emplace("port", "0");
    keys.emplace("library", b.dir);
    keys.emplace("poll_interval", "50");
    std::string ini = siutest::readWholeFile(SIU_SOURCE_DIR "/examples/siud.ini");
    for (const auto& [key, value] : keys) {
        const std::regex line("\n;? *" + key + " *=[^\n]*");
        if (std::regex_search(ini, line))
            ini = std::regex_replace(ini, line, "\n" + key + " = " + value);
        else
            ini = std::regex_replace(ini, std::regex("\\[siud\\]"), "[siud]\n" + key + " = " + value);
    }
    return ini;
}

struct Siud {
    explicit Siud(const Bench& b, const std::map<std::string, std::string>& keys = {})
        : errFile(b.tmp.file("siud.err")),
          config(b.tmp.write("siud.ini", siudIni(b, keys))),
          process({SIUD_EXE, "--config", config}, b.tmp.file("siud.out"), errFile) {
        std::smatch m;
        siutest::waitFor(
            [&] {
                const std::string err = siutest::readWholeFile(errFile);
                return std::regex_search(err, m, std::regex("listening on (\\S+)")) &&
                       !(origin = m[1]).empty();
            },
            10s, 10ms);
        if (origin.empty()) ADD_FAILURE() << "siud did not start: " << log();
    }
    std::string log() const { return siutest::readWholeFile(errFile); }
    std::string url(const std::string& service = "SIU") const { return origin + "/" + service; }
    // A client connected to the service (or to the URL given).
    std::unique_ptr<Client> client(const std::string& where = "", const std::string& ca = "") const {
        auto c = std::make_unique<Client>();
        std::string error;
        EXPECT_TRUE(c->connect(where.empty() ? url() : where, error, ca)) << error;
        return c;
    }

    const std::string errFile;
    std::string config;
    Process process;
    std::string origin;  // ws://127.0.0.1:PORT/xfs4iot/v1.0
};

// Sends the command and returns its acknowledge and completion, each checked
// to carry the request's name and id; the completion's code is checked too.
inline json run(Client& c, const std::string& name, const json& payload = json::object(),
                const std::string& expected = "success", long long id = 0) {
    static long long next = 1000;
    if (id == 0) id = ++next;
    EXPECT_TRUE(c.send(Client::command(name, id, payload)));
    const auto ack = c.next([&](const json& m) { return Client::is(m, "acknowledge", id); }, 5s);
    const auto done = c.next([&](const json& m) { return Client::is(m, "completion", id); }, 10s);
    if (!ack || !done) {
        ADD_FAILURE() << name << ": no " << (ack ? "completion" : "acknowledge");
        return json::object();
    }
    EXPECT_FALSE((*ack)["header"].contains("status")) << ack->dump();
    EXPECT_EQ(name, (*done)["header"]["name"]);
    EXPECT_EQ(expected, (*done)["header"]["completionCode"]) << name << ": " << done->dump();
    return (*done)["payload"];
}

// The next Common.StatusChangedEvent that carries the section. A loaded
// machine may make the board miss a poll (device offline, then online): the
// other tests look past that.
inline std::optional<json> event(Client& c, std::chrono::milliseconds within = 5s,
                                 const char* section = "auxiliaries") {
    const auto m = c.next(
        [&](const json& j) { return Client::is(j, "unsolicited") && j["payload"].contains(section); },
        within);
    if (m) {
        EXPECT_EQ("Common.StatusChangedEvent", (*m)["header"]["name"]);
    }
    return m ? std::optional<json>((*m)["payload"]) : std::nullopt;
}

}  // namespace siudtest
