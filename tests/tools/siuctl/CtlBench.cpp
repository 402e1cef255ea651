#include "CtlBench.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace ctltest {

namespace fs = std::filesystem;

namespace {

std::vector<char*> pointers(Args& strings) {
    std::vector<char*> p;
    for (std::string& s : strings) p.push_back(s.data());
    p.push_back(nullptr);
    return p;
}

}  // namespace

Process::Process(const Args& argv, const std::string& outFile, const std::string& errFile,
                 const Args& extraEnv) {
    Args args = argv;
    Args env = extraEnv;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string name = std::string(*e).substr(0, std::strcspn(*e, "=") + 1);
        bool given = false;
        for (const std::string& x : extraEnv) given = given || x.rfind(name, 0) == 0;
        if (!given) env.push_back(*e);
    }
    std::vector<char*> argp = pointers(args);
    std::vector<char*> envp = pointers(env);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&fa, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int rc = posix_spawn(&pid, argp[0], &fa, nullptr, argp.data(), envp.data());
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0) throw std::runtime_error("cannot start " + argv[0]);
}

Process::~Process() {
    signal(SIGTERM);
    if (wait(5s) < 0) {
        signal(SIGKILL);
        wait(5s);
    }
}

void Process::signal(int sig) const {
    if (pid > 0) kill(pid, sig);
}

bool Process::ended() {
    int st = 0;
    if (pid <= 0 || waitpid(pid, &st, WNOHANG) != pid) return pid <= 0;
    pid = -1;
    status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    return true;
}

int Process::wait(std::chrono::milliseconds timeout) {
    return siutest::waitFor([&] { return ended(); }, timeout) ? status : -1;
}

Result run(const Args& argv, const Args& extraEnv) {
    siutest::TempDir d;
    Process p(argv, d.file("out"), d.file("err"), extraEnv);
    const int status = p.wait(30s);
    return {status, siutest::readWholeFile(d.file("out")), siutest::readWholeFile(d.file("err"))};
}

std::string jq(const std::string& filter, const std::string& json) {
    siutest::TempDir d;
    const Result r = run({"/usr/bin/jq", "-r", "-s",
                          "if length == 1 then .[0] | " + filter + " else error(\"not one\") end",
                          d.write("in", json)});
    EXPECT_EQ(0, r.status) << r.err << "in: " << json;
    return r.out.substr(0, r.out.find_last_not_of('\n') + 1);
}

Bench::Bench() : run(tmp.file("run")), line(tmp.file("line")) {
    fs::create_directory(run);
    fs::create_directory(tmp.file("logs"));
    fs::copy_file(SIU_LIBRARY, run + "/libNorvaSensorBoard.so.1");
    fs::copy_file(LOGSO_PATH, run + "/Log.so");
    configure();
    simulator = std::make_unique<Process>(
        Args{SIUSIM_EXE, "--link", line, "--board", SIU_SOURCE_DIR "/examples/siusim-board.ini"},
        tmp.file("siusim.out"), tmp.file("siusim.err"));
    auto up = [&] {
        return simulator->ended() ||
               ctltest::run({SIUSIM_EXE, "--control", line, "ping"}).status == 0;
    };
    if (!siutest::waitFor(up, 10s, 20ms) || simulator->ended())
        throw std::runtime_error("siusim did not come up: " +
                                 siutest::readWholeFile(tmp.file("siusim.err")));
}

Bench::~Bench() = default;

void Bench::configure(const std::map<std::string, std::string>& keys) const {
    std::map<std::string, std::string> all = {{"DevicePort", line}, {"LogPath", tmp.file("logs")}};
    for (const auto& k : keys) all[k.first] = k.second;
    std::istringstream in(siutest::readWholeFile(SIU_SOURCE_DIR "/examples/NorvaSensorBoard.ini"));
    std::string text;
    for (std::string l; std::getline(in, l);) {
        const auto k = all.find(l.substr(0, l.find_first_of(" =")));
        text += (k == all.end() ? l : k->first + " = " + k->second) + "\n";
    }
    tmp.write("run/NorvaSensorBoard.ini", text);
}

Args Bench::siuctlArgv(const Args& args) const {
    Args argv = {SIUCTL_EXE, "--lib", run};
    argv.insert(argv.end(), args.begin(), args.end());
    return argv;
}

Result Bench::siuctl(const Args& args) const {
    return ctltest::run(siuctlArgv(args));
}

std::string Bench::sim(const Args& words) const {
    Args argv = {SIUSIM_EXE, "--control", line};
    argv.insert(argv.end(), words.begin(), words.end());
    const Result r = ctltest::run(argv);
    EXPECT_EQ(0, r.status) << "siusim --control " << words[0] << ": " << r.out << r.err;
    return r.out.substr(0, r.out.find('\n'));
}

std::string Bench::output(const std::string& field) const {
    const std::string all = " " + sim({"outputs"}) + " ";
    const size_t from = all.find(" " + field + "=") + field.size() + 2;
    return all.substr(from, all.find(' ', from) - from);
}

std::string Bench::logs() const {
    std::string all;
    for (const auto& e : fs::directory_iterator(tmp.file("logs")))
        all += siutest::readWholeFile(e.path().string());
    return all;
}

}  // namespace ctltest
