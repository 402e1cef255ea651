#pragma once
// Command codec of the sensor board: turns each board operation into the
// short ASCII command the board understands, hands it to the link layer and
// cuts the reply down to its payload (the reply's first byte is dropped).
//
// Commands sent to the board:
//   "V"                       read the firmware version (reply: the version)
//   "L" + one char per LED    set every output at once ("0" off, "1" on, "2" blink)
//   configured get commands   read a block of sensor flags (one hex digit per position)
//   "Z0".."Z9", "ZA".."ZI"    clear the latched flag at reply position 0..18
//   "FA0" / "FA1"             electronic-key port off / on
//   "m"                       read the sensor motion time (reply: a number)
//   "M100".."M999"            set the sensor motion time
//   "B0" / "B1" / "B2"        buzzer off / on / blink
//   "R%03d%05d"               remote power cycle (time to off, time to on)
//
// Results are SUCCESS or the link layer's code, unchanged.

#include <cstddef>
#include <memory>

#include "transport/LogicProtocol.h"

class LLDeviceZT : public LogicProtocol {
public:
    // Outputs the indicator command can address.
    static constexpr unsigned int MAX_LEDS = 20;
    // Size of the caller's buffer assumed by CmdGetVersion(char*).
    static constexpr size_t VERSION_SIZE = 50;

    // params is the service's st_constructParams.
    explicit LLDeviceZT(void* params);
    // Adopts tp as the link layer (a null tp behaves as the first form).
    LLDeviceZT(void* params, TransportProtocol* tp);
    ~LLDeviceZT() override;

    int CmdOpen();
    int CmdClose();

    // Sends "V" and writes the reply text into version (VERSION_SIZE bytes).
    int CmdGetVersion(char* version);
    // The same into a buffer of size bytes; a longer reply is cut, an empty
    // one gives an empty text.
    int CmdGetVersion(char* version, size_t size);

    // Sets output pos (1..max_size_leds) to value (a NORVA_SIU_INDICATOR_VALUE)
    // and sends "L" with the state of outputs 1..max_size_leds. The state is
    // one buffer for the whole process, so every call resends the last known
    // state of all outputs. valueReset switches all of them off instead and
    // ignores pos and value. ERR_CMD_INVALID_PARAMETER for max_size_leds above
    // 20, pos 0 or beyond max_size_leds, value above 2.
    int CmdSetIndicator(unsigned int pos, unsigned int value, unsigned int max_size_leds,
                        bool valueReset);

    // "FA1" / "FA0": the electronic-key port on or off.
    int CmdSetElectronicKey(bool on);
    // "m": the sensor motion time the board reports, into *ms.
    int CmdGetMotionTime(unsigned int* ms);
    // "M<ms>": sets the sensor motion time. ERR_CMD_INVALID_PARAMETER outside
    // 100..999, the board's three digits.
    int CmdSetMotionTime(unsigned int ms);
    // "B0" / "B1" / "B2": buzzer off, on, blink (a NORVA_SIU_INDICATOR_VALUE).
    // ERR_CMD_INVALID_PARAMETER above 2.
    int CmdSetBuzzer(unsigned int value);
    // "R<off><on>": remote power cycle, the time to off in three digits and
    // the time to on in five, so ERR_CMD_INVALID_PARAMETER beyond 999 or
    // 99999. The reply text goes into answer as CmdGenericCommand writes it.
    int CmdResetRemote(unsigned int timeToOff, unsigned int timeToOn, char* answer, size_t size);

    // Sends command and, when the reply carries a payload, writes it as text
    // into command_rsp (rsp_size bytes, cut when longer); a reply of one byte
    // or none leaves command_rsp untouched.
    int CmdGenericCommand(const char* command, char* command_rsp, size_t rsp_size);
    // The same into a caller's array, whose size bounds the copy.
    template <size_t N>
    int CmdGenericCommand(const char* command, char (&command_rsp)[N]) {
        return CmdGenericCommand(command, command_rsp, N);
    }

private:
    // Sends command and drops whatever the board answers.
    int sendOnly(const char* command);
    // One exchange; on SUCCESS *reply owns the reply (possibly empty).
    int exchange(const char* send, size_t len, std::unique_ptr<unsigned char[]>* reply,
                 int* replyLen);
};
