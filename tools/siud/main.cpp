// siud: serves the services of libNorvaSensorBoard.so.1 as XFS4IoT
// Auxiliaries and Lights services over WebSocket.

#include "tools/siud/Config.h"
#include "tools/siud/Server.h"
#include "tools/siuctl/Library.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>

namespace {

const char kUsage[] =
    "usage: siud --config FILE [--lib PATH]\n"
    "  Serves the services of FILE (see tools/siud/README.md) over WebSocket at\n"
    "  ws://ADDRESS:PORT/xfs4iot/v1.0 (wss with TLS). --lib names\n"
    "  libNorvaSensorBoard.so.1 or its directory, overriding the file's library.\n"
    "  Reports on standard error; SIGTERM or SIGINT closes every service and ends.\n";

int run(int argc, char** argv) {
    std::string configPath, lib;
    bool libGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if ((a == "--config" || a == "--lib") && i + 1 < argc) {
            (a == "--config" ? configPath : lib) = argv[++i];
            libGiven |= a == "--lib";
        } else if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            std::fprintf(stderr, "siud: unexpected %s\n%s", a.c_str(), kUsage);
            return 2;
        }
    }
    if (configPath.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    siud::Config cfg;
    std::string error;
    if (!siud::loadConfig(configPath, cfg, error)) {
        std::fprintf(stderr, "siud: %s\n", error.c_str());
        return 2;
    }
    if (libGiven) cfg.library = lib;
    // The library prints every sensor reading on standard output; at one
    // reading per poll that would flood a journal. siud reports on standard
    // error only.
    const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (sink >= 0) {
        dup2(sink, STDOUT_FILENO);
        close(sink);
    }
    siuctl::Library library;
    if (!library.load(cfg.library, error)) {
        std::fprintf(stderr, "siud: cannot load the library: %s\n", error.c_str());
        return 3;
    }
    std::signal(SIGPIPE, SIG_IGN);
    boost::asio::io_context ioc(1);
    siud::Server server(ioc, cfg, library.siu());
    if (!server.start(error)) {
        std::fprintf(stderr, "siud: %s\n", error.c_str());
        return 1;
    }
    std::fprintf(stderr, "siud: listening on %s/xfs4iot/v1.0\n", server.origin().c_str());
    boost::asio::signal_set signals(ioc, SIGINT, SIGTERM);
    boost::asio::steady_timer last(ioc);
    std::function<void()> check;
    signals.async_wait([&](const boost::system::error_code& ec, int) {
        if (ec) return;
        server.shutdown();
        // Clients get two seconds to answer the close; then siud ends anyway.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        check = [&, end] {
            if (server.idle() || std::chrono::steady_clock::now() >= end) return ioc.stop();
            last.expires_after(std::chrono::milliseconds(20));
            last.async_wait([&](const boost::system::error_code&) { check(); });
        };
        check();
    });
    ioc.run();
    server.stopWorkers();
    std::fprintf(stderr, "siud: stopped\n");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "siud: %s\n", e.what());
        return 1;
    }
}
