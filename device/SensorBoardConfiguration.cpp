#include "device/SensorBoardConfiguration.h"

#include <cctype>
#include <cstring>
#include <string>

#include "common/Clock.h"
#include "common/Configuration.h"
#include "common/Hex.h"
#include "common/Log.h"
#include "common/Strings.h"
#include "interface/NorvaSIU.h"
#include "manager/Global.h"

namespace {

template <typename Node>
Node* appendTail(std::unique_ptr<Node>& head, std::unique_ptr<Node> node) {
    std::unique_ptr<Node>* slot = &head;
    while (*slot) slot = &(*slot)->next;
    *slot = std::move(node);
    return slot->get();
}

// Iterative, so that no node's destructor recurses down the list.
template <typename Node>
void releaseList(std::unique_ptr<Node>& head) {
    while (head) head = std::move(head->next);
}

// "<service>.<row name>", the section that maps one logical item.
std::string itemSection(Configuration* cfg, const char* name) {
    const char* service = cfg->getService();
    std::string section = service != nullptr ? service : "";
    section += '.';
    section += name;
    return section;
}

// Reads an integer key; false when it is missing or unreadable.
bool readNumber(Configuration* cfg, const std::string& section, const char* key, long* value) {
    long v = 0;
    if (cfg->getConfig(section.c_str(), key, &v) != SUCCESS) return false;
    *value = v;
    return true;
}

struct TypeValues {
    unsigned int active;
    unsigned int inactive;
};

const TypeValues kTypeValues[SENSOR_TYPE_COUNT] = {
    {NORVA_SIU_VALUE_OPENED, NORVA_SIU_VALUE_CLOSED},                // door
    {NORVA_SIU_VALUE_UNLOCKED, NORVA_SIU_VALUE_LOCKED},              // lock, electronic key
    {NORVA_SIU_VALUE_ON, NORVA_SIU_VALUE_OFF},                       // sensor
    {NORVA_SIU_VALUE_AT_POSITION, NORVA_SIU_VALUE_NOT_AT_POSITION},  // position
    {NORVA_SIU_VALUE_ON, NORVA_SIU_VALUE_OFF},                       // auxiliar
    {NORVA_SIU_VALUE_ON, NORVA_SIU_VALUE_OFF},                       // cassette
    {NORVA_SIU_VALUE_ON, NORVA_SIU_VALUE_OFF},                       // vendor
};

}  // namespace

SensorBoardConfiguration::SensorBoardConfiguration(Configuration* config, Log* logger)
    : cfg(config), log(logger) {
    AddSensorsInfo();
    AddIndicatorInfo();
    AddSetPortsCommand();
}

SensorBoardConfiguration::~SensorBoardConfiguration() {
    DelSensorsInfo();
    DelIndicatorInfo();
    DelGetSensorsCommands();
    DelSetPortsCommand();
}

int SensorBoardConfiguration::AddSensorsInfo() {
    if (cfg == nullptr) return SUCCESS;
    for (unsigned int type = 0; type < SENSOR_TYPE_COUNT; ++type) {
        const st_sensors_strings& names = sensors_strings[type];
        for (unsigned int row = 0; row < names.enum_str_size; ++row) {
            const char* name = names.enum_str[row];
            std::string section = itemSection(cfg, name);

            char* raw = nullptr;
            if (cfg->getConfig(section.c_str(), "command", &raw) != SUCCESS || raw == nullptr) {
                continue;
            }
            std::unique_ptr<char[]> command(raw);
            long position = 0;
            if (!readNumber(cfg, section, "command_position", &position)) continue;
            long mask = 1;
            long notLogic = 0;
            readNumber(cfg, section, "bit_mask", &mask);
            readNumber(cfg, section, "not_logic", &notLogic);

            auto node = std::make_unique<st_sensors_info>();
            node->index = row;
            node->command = AddGetSensorsCommands(command.get())->command.get();
            node->command_position = static_cast<unsigned int>(position);
            if (position >= 0 && position < static_cast<long>(RESET_COMMAND_COUNT)) {
                node->reset_command = copyText(zero_flags_str[position]);
            }
            node->bit_mask = static_cast<unsigned int>(mask);
            node->not_logic = static_cast<unsigned int>(notLogic);
            appendTail(sensors_info[type], std::move(node));
            if (log != nullptr) {
                log->addLogBufferList(INF, "SensorBoardConfiguration::AddSensorsInfo",
                                      "Configuration found: %s", name);
            }
        }
    }
    return SUCCESS;
}

int SensorBoardConfiguration::AddIndicatorInfo() {
    if (cfg == nullptr) return SUCCESS;
    for (unsigned int row = 0; row < INDICATOR_COUNT; ++row) {
        std::string section = itemSection(cfg, indicator_str[row]);
        long position = 0;
        if (!readNumber(cfg, section, "command_position", &position)) continue;
        auto node = std::make_unique<st_indicator_info>();
        node->index = row;
        node->command_position = static_cast<unsigned int>(position);
        appendTail(indicator_info, std::move(node));
        if (log != nullptr) {
            log->addLogBufferList(INF, "SensorBoardConfiguration::AddIndicatorInfo",
                                  "Configuration found: %s", indicator_str[row]);
        }
    }
    return SUCCESS;
}

// Loaded for completeness: the port commands sent are fixed ("FA0"/"FA1").
int SensorBoardConfiguration::AddSetPortsCommand() {
    if (cfg == nullptr) return SUCCESS;
    for (unsigned int row = 0; row < PORT_COUNT; ++row) {
        std::string section = itemSection(cfg, ports_str[row]);
        char* raw = nullptr;
        if (cfg->getConfig(section.c_str(), "command", &raw) != SUCCESS || raw == nullptr) {
            continue;
        }
        auto node = std::make_unique<st_ports_info>();
        node->index = row;
        node->command.reset(raw);
        appendTail(ports_info, std::move(node));
        if (log != nullptr) {
            log->addLogBufferList(INF, "SensorBoardConfiguration::AddSetPortsCommand",
                                  "Configuration found: %s", ports_str[row]);
        }
    }
    return SUCCESS;
}

void SensorBoardConfiguration::DelSensorsInfo() {
    for (auto& head : sensors_info) releaseList(head);
}

void SensorBoardConfiguration::DelIndicatorInfo() {
    releaseList(indicator_info);
}

void SensorBoardConfiguration::DelGetSensorsCommands() {
    releaseList(commands_info);
}

void SensorBoardConfiguration::DelSetPortsCommand() {
    releaseList(ports_info);
}

st_commands_info* SensorBoardConfiguration::findCommand(const char* command) const {
    if (command == nullptr) return nullptr;
    for (st_commands_info* node = commands_info.get(); node != nullptr; node = node->next.get()) {
        if (std::strcmp(node->command.get(), command) == 0) return node;
    }
    return nullptr;
}

st_commands_info* SensorBoardConfiguration::AddGetSensorsCommands(const char* command) {
    if (command == nullptr) return nullptr;
    if (st_commands_info* known = findCommand(command)) return known;
    auto node = std::make_unique<st_commands_info>();
    node->command = copyText(command);
    return appendTail(commands_info, std::move(node));
}

void SensorBoardConfiguration::SetCapabilityBit(unsigned int n, unsigned int* caps,
                                                unsigned int* reserved) {
    if (n < 32) {
        *caps |= 1u << n;
    } else {
        *reserved |= 1u << ((n - 31) & 31);
    }
}

int SensorBoardConfiguration::GetSensorsCapabilities(unsigned int type, unsigned int* caps,
                                                     unsigned int* reserved) {
    if (caps == nullptr || reserved == nullptr) return ERR_CMD_INVALID_PARAMETER;
    *caps = 0;
    *reserved = 0;
    if (type >= SENSOR_TYPE_COUNT) return ERR_CMD_INVALID_PARAMETER;
    for (const st_sensors_info* node = sensors_info[type].get(); node != nullptr;
         node = node->next.get()) {
        SetCapabilityBit(node->index, caps, reserved);
    }
    return SUCCESS;
}

int SensorBoardConfiguration::GetIndicatorCapabilities(unsigned int* caps, unsigned int* reserved) {
    if (caps == nullptr || reserved == nullptr) return ERR_CMD_INVALID_PARAMETER;
    *caps = 0;
    *reserved = 0;
    for (const st_indicator_info* node = indicator_info.get(); node != nullptr;
         node = node->next.get()) {
        SetCapabilityBit(node->index, caps, reserved);
    }
    return SUCCESS;
}

int SensorBoardConfiguration::GetGetSensorCommand(char** command) {
    if (command == nullptr) return ERR_CMD_INVALID_PARAMETER;
    if (!commands_info) {
        *command = nullptr;
        return ERR_CMD_NOT_SUPPORTED;
    }
    if (*command == nullptr) {
        *command = commands_info->command.get();
        return SUCCESS;
    }
    st_commands_info* current = findCommand(*command);
    if (current == nullptr) {
        *command = nullptr;
        return ERR_CMD_NOT_SUPPORTED;
    }
    *command = current->next ? current->next->command.get() : nullptr;
    return SUCCESS;
}

int SensorBoardConfiguration::UpdateGetSensorResponse(const char* command, const char* response) {
    st_commands_info* node = findCommand(command);
    if (node == nullptr) return ERR_CMD_NOT_SUPPORTED;
    if (response != nullptr) {
        node->command_rsp = copyText(response);
    } else {
        node->command_rsp.reset();
    }
    return SUCCESS;
}

int SensorBoardConfiguration::GetGetSensorResponse(const char* command, char** response) {
    if (response == nullptr) return ERR_CMD_INVALID_PARAMETER;
    *response = nullptr;
    st_commands_info* node = findCommand(command);
    if (node == nullptr) return ERR_CMD_NOT_SUPPORTED;
    *response = node->command_rsp.get();
    return SUCCESS;
}

int SensorBoardConfiguration::GetResetSensorCommandByIndex(unsigned int type, unsigned int index,
                                                           char** reset_command) {
    if (reset_command == nullptr) return ERR_CMD_INVALID_PARAMETER;
    if (type >= SENSOR_TYPE_COUNT) {
        *reset_command = nullptr;
        return ERR_GEN_INTERNAL_ERROR;
    }
    for (st_sensors_info* node = sensors_info[type].get(); node != nullptr;
         node = node->next.get()) {
        if (node->index == index) {
            *reset_command = node->reset_command.get();
            return SUCCESS;
        }
    }
    return ERR_GEN_INTERNAL_ERROR;
}

int SensorBoardConfiguration::GetIndicatorCommandPosition(unsigned int indicator,
                                                          unsigned int* position) {
    if (indicator >= INDICATOR_COUNT) {
        if (log != nullptr) {
            log->addLogBufferList(ERR, "SensorBoardConfiguration::GetIndicatorCommandPosition",
                                  "Indicator index invalid");
        }
        return ERR_CMD_INVALID_PARAMETER;
    }
    if (position == nullptr) return ERR_CMD_INVALID_PARAMETER;
    for (const st_indicator_info* node = indicator_info.get(); node != nullptr;
         node = node->next.get()) {
        if (node->index == indicator) {
            *position = node->command_position;
            return SUCCESS;
        }
    }
    if (log != nullptr) {
        log->addLogBufferList(ERR, "SensorBoardConfiguration::GetIndicatorCommandPosition",
                              "%s not available in configuration", indicator_str[indicator]);
    }
    return ERR_CFG_INVALID_VALUE;
}

int SensorBoardConfiguration::ProcessGetSensorResponse(unsigned int type, unsigned int* sensor) {
    if (sensor == nullptr || type >= SENSOR_TYPE_COUNT) return ERR_CMD_INVALID_PARAMETER;
    for (unsigned int i = 0; i < NORVA_SIU_ARRAY_SIZE; ++i)
        sensor[i] = NORVA_SIU_VALUE_NOT_AVAILABLE;

    for (const st_sensors_info* node = sensors_info[type].get(); node != nullptr;
         node = node->next.get()) {
        const char* name = sensors_strings[type].enum_str[node->index];
        char* reply = nullptr;
        int rc = GetGetSensorResponse(node->command, &reply);
        if (rc != SUCCESS) return rc;

        size_t length = reply != nullptr ? std::strlen(reply) : 0;
        if (node->command_position == 0 || node->command_position > length) {
            if (log != nullptr) {
                log->addLogBufferList(
                    ERR, "SensorBoardConfiguration::ProcessGetSensorResponse",
                    "Skipping %s. Command position configured is greater than device response",
                    name);
            }
            continue;
        }
        char digit = reply[node->command_position - 1];
        if (!std::isxdigit(static_cast<unsigned char>(digit))) {
            // A garbled reply character would read as an arbitrary nibble.
            if (log != nullptr) {
                log->addLogBufferList(ERR, "SensorBoardConfiguration::ProcessGetSensorResponse",
                                      "Skipping %s. Device response is not a hex digit", name);
            }
            continue;
        }
        const char text[3] = {'0', digit, '\0'};
        unsigned char byte = 0;
        CharToHex(&byte, text, 2);

        unsigned int v = byte;
        // The complement covers all 32 bits, so a mask reaching above the low
        // byte reads an inverted sensor as active.
        if (node->not_logic != 0) v = ~(v & 0xFFu);
        v &= node->bit_mask;
        sensor[node->index] = v != 0 ? kTypeValues[type].active : kTypeValues[type].inactive;
    }
    return SUCCESS;
}
