#pragma once
// The sensor board's command set and state: what it answers to each command
// text and what the commands change.

#include <map>
#include <optional>
#include <set>
#include <string>

namespace siusim {

// What a board file describes; the defaults are those of a board that has no
// file.
struct BoardConfig {
    std::string version = "SIUSIM 1.0";
    unsigned motionTime = 300;
    std::string remoteReply = "OK";
    // get-sensor command -> reply text, one hex digit per position
    std::map<std::string, std::string> replies;
    // get-sensor command -> 1-based positions whose flags stay set until a
    // "Z" command clears them
    std::map<std::string, std::set<unsigned>> latched;
};

constexpr unsigned kOutputs = 20;           // board outputs driven by "L"
constexpr unsigned kMaxResetPosition = 18;  // "ZI" is the last reset command
constexpr size_t kMaxReply = 200;           // longest get-sensor reply text
constexpr size_t kMaxCommandText = 64;      // longest get-sensor command name
constexpr size_t kMaxText = 200;            // longest version or remote-power-cycle reply

bool isHexText(const std::string& text);

class Board {
public:
    explicit Board(BoardConfig config);

    // Carries out one command. The reply's first byte is the command letter,
    // which the host drops; no value means the board refuses the command.
    std::optional<std::string> execute(const std::string& command);

    // Changes made from the control interface; false for a bad argument.
    bool setReply(const std::string& command, const std::string& hex);
    bool setFlag(const std::string& command, unsigned position, unsigned mask, bool on);
    std::optional<std::string> reply(const std::string& command) const;
    void setVersion(const std::string& text) { cfg.version = text; }
    void setRemoteReply(const std::string& text) { cfg.remoteReply = text; }

    // "leds=<20 digits> buzzer=<0..2> key=<0|1> motion=<ms>"
    std::string outputs() const;

private:
    std::optional<std::string> executeFixed(const std::string& command);
    void clearLatched(unsigned position);

    BoardConfig cfg;
    std::string leds = std::string(kOutputs, '0');
    char buzzer = '0';
    char keyPort = '0';
};

}  // namespace siusim
