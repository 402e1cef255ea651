#include "tools/siud/Worker.h"

#include "tools/siuctl/ResultCodes.h"

#include <cstdio>
#include <vector>

namespace siud {

namespace {

using Clock = std::chrono::steady_clock;

// Codes that mean the board cannot be reached (serial link, transport, the
// device's link not open): the device is offline and may come back.
bool linkCode(int rc) {
    return (rc <= -40001 && rc >= -49999) || (rc <= -110001 && rc >= -119999) ||
           rc == SIU_ERR_DEV_LINK_NOT_OPEN;
}

}  // namespace

Worker::Worker(const siuctl::SiuFunctions& s, const ServiceConfig& c, std::function<void(json)> ch)
    : siu(s), cfg(c), changed(std::move(ch)), model({{"common", {{"device", "starting"}}}}) {}

Worker::~Worker() {
    stop();
}

void Worker::start() {
    // The first reading is taken before any client can connect, so that no
    // client sees a board that is there as starting.
    poll();
    nextPoll = Clock::now() + std::chrono::milliseconds(cfg.pollMs);
    thread = std::thread([this] { run(); });
}

void Worker::stop() {
    {
        std::lock_guard<std::mutex> lock(m);
        stopping = true;
    }
    cv.notify_all();
    if (thread.joinable()) thread.join();
}

void Worker::submit(Job job) {
    {
        std::lock_guard<std::mutex> lock(m);
        queue.push_back(std::move(job));
    }
    cv.notify_all();
}

void Worker::run() {
    std::unique_lock<std::mutex> lock(m);
    while (!stopping) {
        cv.wait_until(lock, nextPoll, [&] { return stopping || !queue.empty(); });
        if (stopping) break;
        if (Clock::now() >= nextPoll || queue.empty()) {
            lock.unlock();
            poll();
            nextPoll = Clock::now() + std::chrono::milliseconds(cfg.pollMs);
            lock.lock();
            continue;
        }
        Job job = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        if (job.abandoned->load()) {
            // The server has already completed it with timeOut.
        } else if (Clock::now() >= job.deadline) {
            job.done({"timeOut", "the command's timeout passed before it could run", {}});
        } else {
            job.done(execute(job));
        }
        lock.lock();
    }
    queue.clear();
    lock.unlock();
    if (idx >= 0) {
        std::vector<char> name(cfg.name.begin(), cfg.name.end());
        name.push_back('\0');
        siu.close(name.data(), &idx);
    }
}

void Worker::publish(json next) {
    json change = changes(model, next);
    model = std::move(next);
    if (!change.empty()) changed(std::move(change));
}

// A failed call: the device is offline when the board cannot be reached,
// else it is in error; what was last read stays as it was.
void Worker::failed(int rc) {
    json next = model;
    next["common"]["device"] = linkCode(rc) ? "offline" : "hardwareError";
    if (next["common"] != model["common"])
        std::fprintf(stderr, "siud: %s: %s (%s)\n", cfg.name.c_str(),
                     next["common"]["device"].get<std::string>().c_str(),
                     siuctl::codeName(rc).c_str());
    publish(std::move(next));
}

bool Worker::ensureOpen() {
    if (idx >= 0) return true;
    if (Clock::now() < nextOpen) return false;
    nextOpen = Clock::now() + std::chrono::seconds(1);
    std::vector<char> name(cfg.name.begin(), cfg.name.end());
    name.push_back('\0');
    int rc = siu.open(name.data(), &idx);
    if (rc != SIU_SUCCESS) {
        idx = -1;
        failed(rc);
        return false;
    }
    char* version = nullptr;
    unsigned r[8] = {};
    BoardInfo got;
    rc = siu.getDeviceInfo(idx, &version, &got.caps[0], &r[0], &got.caps[1], &r[1], &got.caps[2],
                           &r[2], &got.caps[3], &r[3], &got.caps[4], &r[4], &got.caps[5], &r[5],
                           &got.caps[6], &r[6], &got.caps[7], &r[7]);
    if (version != nullptr) {
        got.firmware = version;
        siu.freeBuffer(reinterpret_cast<unsigned char**>(&version));
    }
    if (rc != SIU_SUCCESS) {
        siu.close(name.data(), &idx);
        idx = -1;
        failed(rc);
        return false;
    }
    got.known = true;
    info = got;
    // Opening switched the indicators off; the buzzer is switched off too so
    // that what siud reports is what the board does.
    if (cfg.audibleAlarm) siu.setBuzzer(idx, NORVA_SIU_INDICATOR_VALUE_OFF);
    json next = model;
    next["lights"] = lightsOff(cfg, info);
    if (cfg.audibleAlarm) next["auxiliaries"]["audibleAlarm"] = "off";
    model = std::move(next);  // the first reading publishes it all
    return true;
}

void Worker::poll() {
    if (!ensureOpen()) return;
    Snapshot s;
    unsigned* a[7];
    for (std::size_t g = 0; g < 7; ++g) a[g] = s[g].data();
    const int rc = siu.getSensorStatus(idx, a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
    if (rc != SIU_SUCCESS && rc != SIU_ERR_CMD_NOT_IMPLEMENTED) return failed(rc);
    json next = model;
    json sections = sensorSections(cfg, info, s);
    if (next.contains("auxiliaries") && next["auxiliaries"].contains("audibleAlarm"))
        sections["auxiliaries"]["audibleAlarm"] = next["auxiliaries"]["audibleAlarm"];
    next.update(sections);
    next["common"]["device"] = "online";
    publish(std::move(next));
}

Outcome Worker::boardFailure(int rc) {
    failed(rc);
    return {"hardwareError", siuctl::codeName(rc), {}};
}

Outcome Worker::execute(const Job& job) {
    if (job.name == "Common.Capabilities") {
        ensureOpen();
        return {"success", "", capabilities(cfg, info)};
    }
    if (job.name == "Common.Status") {
        poll();
        if (model["common"]["device"] == "online") return {"success", "", model};
        return {"success", "", {{"common", model["common"]}}};
    }
    if (!ensureOpen()) return {"deviceNotReady", "the board is not open", {}};
    if (job.name == "Auxiliaries.SetAuxiliaries") return setAuxiliaries(job.payload);
    if (job.name == "Lights.SetLight") return setLight(job.payload);
    return {"unsupportedCommand", job.name, {}};
}

Outcome Worker::setAuxiliaries(const json& payload) {
    unsigned value = 0;
    for (const auto& [field, state] : payload.items()) {
        if (field != "audibleAlarm") return {"unsupportedData", field + " cannot be set", {}};
        if (!cfg.audibleAlarm) return {"unsupportedData", "this board has no audibleAlarm", {}};
        if (state == "on") value = NORVA_SIU_INDICATOR_VALUE_ON;
        else if (state == "off") value = NORVA_SIU_INDICATOR_VALUE_OFF;
        else return {"invalidData", "audibleAlarm is on or off", {}};
    }
    if (payload.empty()) return {"invalidData", "nothing to set", {}};
    const int rc = siu.setBuzzer(idx, value);
    if (rc != SIU_SUCCESS) return boardFailure(rc);
    json next = model;
    next["auxiliaries"]["audibleAlarm"] = value == NORVA_SIU_INDICATOR_VALUE_ON ? "on" : "off";
    publish(std::move(next));
    return {};
}

Outcome Worker::setLight(const json& payload) {
    struct Change {
        const LightOutput* out;
        unsigned value;
        std::string rate;
    };
    std::vector<Change> todo;
    for (const auto& [light, positions] : payload.items()) {
        if (!positions.is_object()) return {"invalidData", light + " must be an object", {}};
        for (const auto& [position, state] : positions.items()) {
            const LightOutput* out = nullptr;
            for (const LightOutput& l : cfg.lights)
                if (l.light == light && l.position == position && info.has(l.indicator)) out = &l;
            if (out == nullptr)
                return {"unsupportedData", "this board has no light " + light + "." + position, {}};
            Change c{out, 0, ""};
            if (!state.is_object() || !state.contains("flashRate") ||
                !state["flashRate"].is_string() ||
                !indicatorValue(c.rate = state["flashRate"].get<std::string>(), c.value))
                return {"invalidData", light + "." + position + ".flashRate is invalid", {}};
            todo.push_back(c);
        }
    }
    if (todo.empty()) return {"invalidData", "no light named", {}};
    json next = model;
    Outcome result;
    for (const Change& c : todo) {
        const int rc = siu.setIndicator(idx, static_cast<unsigned>(c.out->indicator.index), c.value);
        if (rc != SIU_SUCCESS) {
            result = {"hardwareError", siuctl::codeName(rc), {}};
            if (linkCode(rc)) next["common"]["device"] = "offline";
            break;
        }
        next["lights"][c.out->light][c.out->position]["flashRate"] = c.rate;
    }
    publish(std::move(next));
    return result;
}

}  // namespace siud
