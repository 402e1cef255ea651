#pragma once
// Map between the board and the logical items of a service. The board knows
// nothing of doors or lamps: it answers a few read commands with strings of
// hex digits and drives numbered outputs. These tables, loaded from the
// service's INI sections when it opens, say which command reads each sensor,
// at which character of the reply, under which bit mask and whether its logic
// is inverted, which command clears its latched flag, and at which output
// position each indicator sits.
//
// Not thread-safe: the owning device uses it from one command at a time.

#include <memory>

#include "device/SensorTables.h"

class Configuration;
class Log;

// A distinct get-sensor command and the last reply read with it.
struct st_commands_info {
    std::unique_ptr<char[]> command;
    std::unique_ptr<char[]> command_rsp;  // null until the first read
    std::unique_ptr<st_commands_info> next;
};

struct st_sensors_info {
    unsigned int index;  // row in the type's name table
    // Text owned by the matching st_commands_info, shared by every sensor
    // read with the same command.
    const char* command;
    unsigned int command_position;          // 1-based character of the reply
    std::unique_ptr<char[]> reset_command;  // null when the position cannot be cleared
    unsigned int bit_mask;
    unsigned int not_logic;  // non-zero inverts the character before masking
    std::unique_ptr<st_sensors_info> next;
};

struct st_indicator_info {
    unsigned int index;             // row in indicator_str
    unsigned int command_position;  // output position 1..20 of the "L" command
    std::unique_ptr<st_indicator_info> next;
};

struct st_ports_info {
    unsigned int index;  // row in ports_str
    std::unique_ptr<char[]> command;
    std::unique_ptr<st_ports_info> next;
};

class SensorBoardConfiguration {
public:
    // Both are borrowed. Loads sensors, indicators and ports; missing keys
    // only leave items out. A null cfg loads nothing.
    SensorBoardConfiguration(Configuration* cfg, Log* log);
    ~SensorBoardConfiguration();
    SensorBoardConfiguration(const SensorBoardConfiguration&) = delete;
    SensorBoardConfiguration& operator=(const SensorBoardConfiguration&) = delete;

    // Always SUCCESS.
    int AddSensorsInfo();
    int AddIndicatorInfo();
    int AddSetPortsCommand();

    // The node holding command (exact comparison), appended with a copy of
    // the text when there is none; null for a null command.
    st_commands_info* AddGetSensorsCommands(const char* command);

    // caps gets bit n for every configured item n below 32; items from 32 on
    // go into reserved. Both words are zeroed first.
    int GetSensorsCapabilities(unsigned int type, unsigned int* caps, unsigned int* reserved);
    int GetIndicatorCapabilities(unsigned int* caps, unsigned int* reserved);
    // Item n from 32 on sets bit (n - 31) & 31 of reserved: index 32 is bit
    // 1, 62 bit 31 and 63 bit 0. Applications decode that offset, so it stays.
    static void SetCapabilityBit(unsigned int n, unsigned int* caps, unsigned int* reserved);

    // Iterator over the distinct get-sensor commands: a null *command yields
    // the first, a known one the next, the last one null (all SUCCESS). An
    // empty list or an unknown current command yields null and
    // ERR_CMD_NOT_SUPPORTED. The texts belong to this object.
    int GetGetSensorCommand(char** command);
    // Stores a copy of response as the command's last reply (null clears it).
    int UpdateGetSensorResponse(const char* command, const char* response);
    // The stored reply itself, not a copy; null when never read.
    int GetGetSensorResponse(const char* command, char** response);

    // The clear command of sensor index of type (may be null when its
    // position cannot be cleared). Type 7 or more: *reset_command null and
    // ERR_GEN_INTERNAL_ERROR; an unconfigured item: ERR_GEN_INTERNAL_ERROR
    // with *reset_command untouched.
    int GetResetSensorCommandByIndex(unsigned int type, unsigned int index, char** reset_command);
    // ERR_CMD_INVALID_PARAMETER for an indicator of 17 or more,
    // ERR_CFG_INVALID_VALUE for one without a configured position.
    int GetIndicatorCommandPosition(unsigned int indicator, unsigned int* position);

    // Writes the state of every item of type into sensor (64 entries) from the
    // replies stored by the last read; unconfigured and unreadable items are
    // NORVA_SIU_VALUE_NOT_AVAILABLE.
    int ProcessGetSensorResponse(unsigned int type, unsigned int* sensor);

private:
    void DelSensorsInfo();
    void DelIndicatorInfo();
    void DelGetSensorsCommands();
    void DelSetPortsCommand();

    st_commands_info* findCommand(const char* command) const;

    std::unique_ptr<st_commands_info> commands_info;
    std::unique_ptr<st_sensors_info> sensors_info[SENSOR_TYPE_COUNT];
    std::unique_ptr<st_indicator_info> indicator_info;
    std::unique_ptr<st_ports_info> ports_info;
    Configuration* cfg;
    Log* log;
};
