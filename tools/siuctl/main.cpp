// siuctl: drives one service of libNorvaSensorBoard.so.1 from the command line,
// for technicians and integrators, through the library's SIU_ functions only.

#include "common/UniqueHandles.h"
#include "tools/siuctl/CommandLine.h"
#include "tools/siuctl/Commands.h"
#include "tools/siuctl/Library.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>

namespace {

// The library prints on standard output: each sensor reading (the board
// command and its reply) and a failure to load Log.so. siuctl's own output
// must stay clean (status --json is read by programs), so it keeps the
// original standard output for itself and points descriptor 1, which the
// library writes to, at /dev/null, or at standard error when asked to show it.
UniqueFile takeStandardOutput(bool libraryToStderr) {
    const int own = dup(STDOUT_FILENO);
    if (own < 0) return nullptr;
    const int sink = libraryToStderr ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY);
    if (sink >= 0) {
        dup2(sink, STDOUT_FILENO);
        close(sink);
    }
    UniqueFile f(fdopen(own, "w"));
    if (!f) {
        close(own);
        return nullptr;
    }
    // watch is read line by line as it runs
    setvbuf(f.get(), nullptr, _IOLBF, 0);
    return f;
}

int run(int argc, char** argv) {
    siuctl::Request request;
    std::string error;
    if (!siuctl::parseCommandLine(argc, argv, request, error)) {
        std::fprintf(stderr, "siuctl: %s\nsiuctl: hint: siuctl --help lists the commands\n",
                     error.c_str());
        return siuctl::kExitUsage;
    }
    if (request.command == siuctl::Command::Help) {
        std::fputs(siuctl::kUsage, stdout);
        return siuctl::kExitOk;
    }
    if (request.command == siuctl::Command::Version) {
        std::puts("siuctl " SIU_PRODUCT_VERSION);
        return siuctl::kExitOk;
    }
    UniqueFile out = takeStandardOutput(request.verbose);
    if (!out) {
        std::perror("siuctl: standard output");
        return siuctl::kExitFailed;
    }
    siuctl::installStopHandlers();
    siuctl::Library library;
    if (!library.load(request.library, error)) {
        std::fprintf(stderr, "siuctl: cannot load the library: %s\nsiuctl: hint: %s\n",
                     error.c_str(),
                     request.library.empty()
                         ? "name it with --lib PATH, or add its directory to LD_LIBRARY_PATH"
                         : "--lib takes libNorvaSensorBoard.so.1 or the directory that holds it");
        return siuctl::kExitLibrary;
    }
    return siuctl::runCommand(request, library, out.get());
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "siuctl: %s\n", e.what());
        return siuctl::kExitFailed;
    }
}
