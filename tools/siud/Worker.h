#pragma once
// The one thread that owns a service: it opens it, polls the board every
// poll interval and runs every command for it, one at a time, so the
// library's rule of one call per service at a time holds by construction.
// Nothing here waits for a client; results and changes leave through
// callbacks that the server posts to its own thread.

#include "tools/siud/Config.h"
#include "tools/siud/Model.h"
#include "tools/siuctl/Library.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace siud {

struct Outcome {
    std::string code = "success";  // an XFS4IoT completion code
    std::string description;
    json payload = json::object();
};

struct Job {
    std::string name;  // Common.Status, Common.Capabilities, Auxiliaries.SetAuxiliaries, Lights.SetLight
    json payload;
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
    // Set by the server when it has given up on the command (its timeout).
    std::shared_ptr<std::atomic<bool>> abandoned = std::make_shared<std::atomic<bool>>(false);
    std::function<void(Outcome)> done;  // called on the worker's thread
};

class Worker {
public:
    // changed: called on the worker's thread with what changed in the status.
    Worker(const siuctl::SiuFunctions& siu, const ServiceConfig& cfg,
           std::function<void(json)> changed);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Takes the first reading on the calling thread, then starts the worker.
    void start();
    // Lets the running command finish, drops the queued ones, closes the
    // service and joins the thread.
    void stop();
    void submit(Job job);

private:
    void run();
    bool ensureOpen();
    void poll();
    void failed(int rc);
    Outcome execute(const Job& job);
    Outcome setAuxiliaries(const json& payload);
    Outcome setLight(const json& payload);
    Outcome boardFailure(int rc);
    void publish(json next);

    const siuctl::SiuFunctions& siu;
    const ServiceConfig& cfg;
    std::function<void(json)> changed;

    int idx = -1;
    BoardInfo info;
    json model;  // common, auxiliaries, lights, board section: what clients were told
    std::chrono::steady_clock::time_point nextOpen{}, nextPoll{};

    std::mutex m;
    std::condition_variable cv;
    std::deque<Job> queue;
    bool stopping = false;
    std::thread thread;
};

}  // namespace siud
