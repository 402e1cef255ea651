#pragma once
// The running simulator: the pseudo-terminal, the control socket, the wire
// time and the event loop that joins them to the Engine.

#include "tools/siusim/Board.h"
#include "tools/siusim/CommandLine.h"
#include "tools/siusim/Control.h"
#include "tools/siusim/Engine.h"
#include "tools/siusim/Pty.h"
#include "tools/siusim/Recorder.h"

#include <deque>
#include <string>

namespace siusim {

class Simulator {
public:
    Simulator(const Options& options, const BoardConfig& board);
    // Serves until a signal or the control command quit; the exit status.
    int run();

private:
    struct Timed {
        Clock::time_point at;
        uint8_t byte = 0;
        bool drop = false;
        bool trickled = false;  // dropped once the host's next frame arrives
    };

    bool setUp();
    void loop();
    void readLine(Clock::time_point now);
    void actOnArrived(Clock::time_point now);
    void schedule(const std::vector<Output>& outs, Clock::time_point from);
    void sendDue(Clock::time_point now);
    void dropLine();
    void stopTrickle(Clock::time_point now);
    int pollTimeoutMs(Clock::time_point now) const;
    std::string control(const std::string& line);

    Options opts;
    Board board;
    Recorder recorder;
    Engine engine;
    Pty pty;
    ControlServer server;
    std::string socketPath;
    Clock::duration byteTime{0};
    // Bytes read from the line, each with the time its last bit would have
    // arrived on a real line.
    std::deque<Timed> arriving;
    // Bytes to send, each with the time it is due to have left.
    std::deque<Timed> leaving;
    Clock::time_point lastArrival;
    Clock::time_point lastLeaving;
    bool writeBlocked = false;
    // While a trickle lasts: the pace of the stray bytes, and the next one.
    unsigned trickleMs = 0;
    size_t strayIndex = 0;
    bool quit = false;
};

}  // namespace siusim
