// siusim: the sensor board at the far end of the serial line, on a
// pseudo-terminal, for running the library without hardware.

#include "tools/siusim/BoardFile.h"
#include "tools/siusim/CommandLine.h"
#include "tools/siusim/Control.h"
#include "tools/siusim/Simulator.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    try {
        siusim::CommandLine cl;
        std::string error;
        if (!siusim::parseCommandLine(argc, argv, cl, error)) {
            std::fprintf(stderr, "siusim: %s\nsiusim: hint: siusim --help describes the options\n",
                         error.c_str());
            return 2;
        }
        if (cl.mode == siusim::CommandLine::Mode::Help) {
            std::fputs(siusim::kUsage, stdout);
            return 0;
        }
        if (cl.mode == siusim::CommandLine::Mode::Control)
            return siusim::runControlClient(cl.controlPath, cl.controlWords);
        siusim::BoardConfig board;
        if (!cl.options.boardFile.empty() &&
            !siusim::loadBoardFile(cl.options.boardFile, board, error)) {
            std::fprintf(stderr, "siusim: %s\n", error.c_str());
            return 1;
        }
        siusim::Simulator sim(cl.options, board);
        return sim.run();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "siusim: %s\n", e.what());
        return 1;
    }
}
