#include "device/BLDeviceZT.h"

#include <cstring>

#include "common/Clock.h"
#include "common/Configuration.h"
#include "common/Log.h"
#include "device/CommandRecords.h"
#include "device/LLDeviceZT.h"
#include "device/SensorBoardConfiguration.h"

namespace {

constexpr int MAX_LEDS = 20;

const char remoteResetFailure[] = "Erro";

}  // namespace

BLDeviceZT::BLDeviceZT(void* params) : BLDeviceZT(params, nullptr) {}

BLDeviceZT::BLDeviceZT(void* params, LLDeviceZT* codec)
    : BLDevice(params),
      numberOFLeds(DEFAULT_LEDS),
      ll(codec != nullptr ? codec : new LLDeviceZT(params)) {}

BLDeviceZT::~BLDeviceZT() = default;

int BLDeviceZT::executeCMD(int cmd, void* buffer_in, void** buffer_resp) {
    switch (cmd) {
        case CMD_OPEN:
            return CmdOpen(buffer_in, buffer_resp);
        case CMD_CLOSE:
            return CmdClose(buffer_in, buffer_resp);
        case CMD_RESET:
            return CmdReset(buffer_in, buffer_resp);
        case CMD_GET_DEVICE_INFO:
            return CmdGetDeviceInfo(buffer_in, buffer_resp);
        case CMD_GET_DEVICE_STATUS:
            return CmdGetDeviceStatus(buffer_in, buffer_resp);
        case CMD_SET_INDICATOR:
            return CmdSetIndicator(buffer_in, buffer_resp);
        case CMD_GET_SENSOR_STATUS:
            return CmdGetSensorStatus(buffer_in, buffer_resp);
        case CMD_RESET_SENSOR_STATUS:
            return CmdResetSensorStatus(buffer_in, buffer_resp);
        case CMD_SET_PORTS:
            return CmdSetPorts(buffer_in, buffer_resp);
        case CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT:
            return CmdGetTimeSensorActiveMovement(buffer_in, buffer_resp);
        case CMD_SET_SENSOR_MOTION_TIME:
            return CmdSetSensorMotionTime(buffer_in, buffer_resp);
        case CMD_SET_BUZZER:
            return CmdSetBuzzer(buffer_in, buffer_resp);
        case CMD_RESET_REMOTO:
            return CmdResetRemoto(buffer_in, buffer_resp);
        default:
            return ERR_CMD_NOT_IMPLEMENTED;
    }
}

int BLDeviceZT::CmdOpen(void* /*buffer_in*/, void** /*buffer_resp*/) {
    int result = ll->CmdOpen();
    if (result != SUCCESS) return result;

    numberOFLeds = DEFAULT_LEDS;
    int leds = 0;
    char* service = cfg != nullptr ? cfg->getService() : nullptr;
    if (service != nullptr && cfg->getConfig(service, "NumberOFLeds", &leds) == SUCCESS) {
        // The first reading only tells that the key is there; the value used
        // is that of a second reading, and the default when that one fails.
        if (cfg->getConfig(service, "NumberOFLeds", &leds) != SUCCESS) leds = DEFAULT_LEDS;
        numberOFLeds = (leds >= 0 && leds <= MAX_LEDS) ? leds : DEFAULT_LEDS;
    }

    result = CmdReset(nullptr, nullptr);
    if (result != SUCCESS) return result;

    // Each open loads the tables afresh; those of a previous open go.
    sensor_board_config = std::make_unique<SensorBoardConfiguration>(cfg, log);
    return result;
}

int BLDeviceZT::CmdClose(void* /*buffer_in*/, void** /*buffer_resp*/) {
    return ll->CmdClose();
}

int BLDeviceZT::CmdReset(void* /*buffer_in*/, void** /*buffer_resp*/) {
    return ll->CmdSetIndicator(0, 0, static_cast<unsigned int>(numberOFLeds), true);
}

int BLDeviceZT::CmdGetDeviceInfo(void* buffer_in, void** /*buffer_resp*/) {
    st_cmd_get_device_info* info = static_cast<st_cmd_get_device_info*>(buffer_in);
    if (info == nullptr || info->eprom_version == nullptr) return ERR_CMD_INVALID_PARAMETER;
    unsigned int* words[] = {
        info->caps_door,     info->reserved_0, info->caps_lock,        info->reserved_1,
        info->caps_sensor,   info->reserved_2, info->caps_position,    info->reserved_3,
        info->caps_auxiliar, info->reserved_4, info->caps_sensor_cass, info->reserved_5,
        info->caps_vendor,   info->reserved_6, info->caps_indicator,   info->reserved_7};
    for (unsigned int* word : words) {
        if (word == nullptr) return ERR_CMD_INVALID_PARAMETER;
    }
    if (!sensor_board_config) return ERR_DEV_LINK_NOT_OPEN;

    char version[LLDeviceZT::VERSION_SIZE] = {};
    int result = ll->CmdGetVersion(version, sizeof version);
    if (result != SUCCESS) return result;

    size_t len = strnlen(version, sizeof version - 1);
    char* copy = new char[len + 1];
    std::memcpy(copy, version, len);
    copy[len] = '\0';
    *info->eprom_version = copy;

    // Capability word and reserved word of each sensor type, in type order.
    for (unsigned int type = 0; type < SENSOR_TYPE_COUNT; ++type) {
        sensor_board_config->GetSensorsCapabilities(type, words[2 * type], words[2 * type + 1]);
    }
    sensor_board_config->GetIndicatorCapabilities(info->caps_indicator, info->reserved_7);
    return SUCCESS;
}

int BLDeviceZT::CmdGetDeviceStatus(void* buffer_in, void** /*buffer_resp*/) {
    return buffer_in != nullptr ? SUCCESS : ERR_CMD_INVALID_PARAMETER;
}

int BLDeviceZT::CmdSetIndicator(void* buffer_in, void** /*buffer_resp*/) {
    const st_cmd_set_indicator* in = static_cast<const st_cmd_set_indicator*>(buffer_in);
    if (in == nullptr) return ERR_CMD_INVALID_PARAMETER;
    if (in->value > NORVA_SIU_INDICATOR_VALUE_BLINK) {
        logText(ERR, "BLDeviceZT::CmdSetIndicator", "Indicator value invalid");
        return ERR_CMD_INVALID_PARAMETER;
    }
    if (!sensor_board_config) return ERR_DEV_LINK_NOT_OPEN;

    unsigned int position = 0;
    int result = sensor_board_config->GetIndicatorCommandPosition(in->indicator, &position);
    if (result != SUCCESS) return result;
    return ll->CmdSetIndicator(position, in->value, static_cast<unsigned int>(numberOFLeds), false);
}

int BLDeviceZT::CmdSetPorts(void* buffer_in, void** /*buffer_resp*/) {
    const st_cmd_set_ports* in = static_cast<const st_cmd_set_ports*>(buffer_in);
    if (in == nullptr) return ERR_CMD_INVALID_PARAMETER;
    switch (in->port) {
        case NORVA_SIU_SETPORTS_PANEL:
            return ERR_CMD_NOT_IMPLEMENTED;
        case NORVA_SIU_SETPORTS_ELETRONIC_KEY:
            // The board has one fixed command per state; the port commands of
            // the configuration are not consulted.
            return ll->CmdSetElectronicKey(in->value != NORVA_SIU_SETPORTS_VALUE_OFF);
        default:
            return ERR_CMD_INVALID_PARAMETER;
    }
}

int BLDeviceZT::CmdGetTimeSensorActiveMovement(void* buffer_in, void** /*buffer_resp*/) {
    return ll->CmdGetMotionTime(static_cast<unsigned int*>(buffer_in));
}

int BLDeviceZT::CmdSetSensorMotionTime(void* buffer_in, void** /*buffer_resp*/) {
    const unsigned int* time = static_cast<const unsigned int*>(buffer_in);
    if (time == nullptr) return ERR_CMD_INVALID_PARAMETER;
    return ll->CmdSetMotionTime(*time);
}

int BLDeviceZT::CmdSetBuzzer(void* buffer_in, void** /*buffer_resp*/) {
    const unsigned int* buzzer = static_cast<const unsigned int*>(buffer_in);
    if (buzzer == nullptr) return ERR_CMD_INVALID_PARAMETER;
    static const char* const lines[] = {"NORVA_SIU_INDICATOR_VALUE_OFF",
                                        "NORVA_SIU_INDICATOR_VALUE_ON",
                                        "NORVA_SIU_INDICATOR_VALUE_BLINK"};
    if (*buzzer > NORVA_SIU_INDICATOR_VALUE_BLINK) return ERR_CMD_INVALID_PARAMETER;
    logText(INF, "BLDeviceZT::CmdSetBuzzer", lines[*buzzer]);
    return ll->CmdSetBuzzer(*buzzer);
}

int BLDeviceZT::CmdResetRemoto(void* buffer_in, void** /*buffer_resp*/) {
    st_cmd_reset_remoto* in = static_cast<st_cmd_reset_remoto*>(buffer_in);
    if (in == nullptr) return ERR_CMD_INVALID_PARAMETER;
    // The answer field holds four raw bytes: "Erro" fills it without a
    // terminator, a reply is cut to four bytes (and zero-padded when shorter).
    static_assert(sizeof in->REspResetSensores == sizeof remoteResetFailure - 1);
    char rsp[sizeof in->REspResetSensores + 1] = {};
    int result = ll->CmdResetRemote(in->TimerToOff, in->TimerToOn, rsp, sizeof rsp);
    if (result != SUCCESS) {
        std::memcpy(in->REspResetSensores, remoteResetFailure, sizeof in->REspResetSensores);
        return result;
    }
    std::memset(in->REspResetSensores, 0, sizeof in->REspResetSensores);
    std::memcpy(in->REspResetSensores, rsp, strnlen(rsp, sizeof in->REspResetSensores));
    return SUCCESS;
}

int BLDeviceZT::SetMasterVolume(long /*newVolume*/) {
    return 0;
}

void* BLDeviceZT::ThreadFunction(void* self) {
    static_cast<BLDeviceZT*>(self)->watchButtons();
    return nullptr;
}

void BLDeviceZT::watchButtons() {
    thread_finished = false;
    logText(INF, "BLDeviceZT::ThreadFunction", "Thread running");
    exit_thread = false;
    while (!exit_thread) {
        unsigned char pins = readPins();
        // Up wins when both buttons are down.
        if (pins & PIN_VOLUME_UP) {
            if (holdIsLong(PIN_VOLUME_UP)) {
                volume = std::min(volume + VOLUME_STEP, 100);
                SetMasterVolume(volume);
            }
        } else if (pins & PIN_VOLUME_DOWN) {
            if (holdIsLong(PIN_VOLUME_DOWN)) {
                volume = std::max(volume - VOLUME_STEP, 0);
                SetMasterVolume(volume);
            }
        }
        Sleep_ms(POLL_MS);
    }
    logText(INF, "BLDeviceZT::ThreadFunction", "Thread finished");
    thread_finished = true;
}

bool BLDeviceZT::holdIsLong(unsigned char pin) {
    // Measured on the monotonic clock, so that a change of the wall clock
    // during a press neither makes nor breaks a long press.
    uint64_t start = GetMonotonicTickMs();
    bool isLong = false;
    while ((readPins() & pin) && !exit_thread) {
        if (!isLong && TickElapsedMs(start, GetMonotonicTickMs()) > LONG_PRESS_MS) isLong = true;
        Sleep_ms(POLL_MS);
    }
    return isLong;
}

unsigned char BLDeviceZT::readPins() {
    unsigned char pins = 0;
    TransportProtocol* link = ll->getTransport();
    if (link == nullptr || link->getModemLines(&pins) < 0) return 0;
    return pins;
}

void BLDeviceZT::WaitThread() {
    uint64_t start = GetMonotonicTickMs();
    while (!thread_finished && TickElapsedMs(start, GetMonotonicTickMs()) < WAIT_THREAD_MS) {
        Sleep_ms(POLL_MS);
    }
}

void BLDeviceZT::logText(int level, const char* caller, const char* text) {
    if (log != nullptr) log->addLogBuffer(static_cast<eLogLevel>(level), caller, text);
}
