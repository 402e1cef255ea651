#include "tools/siuctl/ResultCodes.h"

#include "interface/NorvaSIU.h"

#include <cstddef>

// The library does not export the texts of its result codes, and its header
// names only the common ones; this table covers the codes a technician meets
// when setting up or servicing a terminal. Any other code is shown by number
// and points at the service's log.

namespace siuctl {

namespace {

struct Explained {
    int code;
    const char* name;  // null: the code has no name of its own
    const char* hint;  // {service}, {library} and {item} are filled in
};

const Explained kExplained[] = {
    {-1, nullptr,
     "the port's named semaphore or shared-memory record could not be set up (check /dev/shm "
     "and the System V shared-memory limits)"},
    {SIU_ERR_MGR_MAX_SERVICES, "ERR_MGR_MAX_SERVICES", "ten services are open in this process"},
    {SIU_ERR_MGR_INVALID_INDEX, "ERR_MGR_INVALID_INDEX", "the service is not open"},
    {SIU_ERR_MGR_INTERNAL_ERROR, "ERR_MGR_INTERNAL_ERROR",
     "the service could not be set up: check DeviceProtocol, MultipleApplication and the line "
     "settings in section [{service}], and the service's log"},
    {SIU_ERR_MGR_CLIENT_NOT_FOUND, "ERR_MGR_CLIENT_NOT_FOUND",
     "Customer in section [{service}] must be NORVA"},
    {SIU_ERR_MGR_DEVICE_NOT_FOUND, "ERR_MGR_DEVICE_NOT_FOUND",
     "DeviceName in section [{service}] must be ZT, the device model this library drives"},
    {SIU_ERR_CFG_INVALID_SERVICE_NAME, "ERR_CFG_INVALID_SERVICE_NAME",
     "the configuration file has no section [{service}]; name the service with -s"},
    {SIU_ERR_CFG_NOT_DEFINED, "ERR_CFG_NOT_DEFINED",
     "a required key is missing from section [{service}] (Customer, DeviceName, DeviceProtocol, "
     "DevicePort, DeviceBaudrate, DeviceParity, DeviceDataBits, DeviceStopBit, DeviceRxTimeout, "
     "DeviceTxTimeout, DeviceFlowControl); see examples/NorvaSensorBoard.ini"},
    {SIU_ERR_CFG_INI_FILE_NOT_FOUND, "ERR_CFG_INI_FILE_NOT_FOUND",
     "configuration file not found: the library reads /Norva/NorvaAPI/NorvaSensorBoard.ini, "
     "else NorvaSensorBoard.ini beside {library}"},
    {SIU_ERR_CFG_GETMODULEPATH, "ERR_CFG_GETMODULEPATH",
     "the library could not find its own directory; load it by its full path with --lib"},
    {-20005, "ERR_CFG_INTERNAL_ERROR", "the configuration could not be read (out of memory?)"},
    {SIU_ERR_CFG_INVALID_VALUE, "ERR_CFG_INVALID_VALUE",
     "not configured: {item} needs a section [{service}.NORVA_SIU_{item}] with command_position"},
    {SIU_ERR_SER_PORT_NOT_OPENED, "ERR_SER_PORT_NOT_OPENED", "the serial port is not open"},
    {SIU_ERR_SER_INVALID_PROTOCOL, "ERR_SER_INVALID_PROTOCOL",
     "DeviceProtocol in section [{service}] must be NorvaDireto, Norva485 or Device65A"},
    {SIU_ERR_SER_OPEN_FAILED, "ERR_SER_OPEN_FAILED",
     "port could not be opened: check DevicePort in section [{service}], that the device exists "
     "and that this user may open it (dialout group); check DeviceParity and DeviceFlowControl"},
    {SIU_ERR_SER_WRITE_FAILED, "ERR_SER_WRITE_FAILED",
     "writing to the serial port failed: was the adapter unplugged?"},
    {SIU_ERR_SER_READ_FAILED, "ERR_SER_READ_FAILED",
     "reading from the serial port failed: was the adapter unplugged?"},
    {SIU_ERR_SER_INVALID_SIZE, "ERR_SER_INVALID_SIZE",
     "the board's reply was too long: noise on the line or a wrong DeviceBaudrate"},
    {-40009, "ERR_SER_INVALID_RESPONSE", "the board's reply made no sense: check DeviceProtocol"},
    {-40010, "ERR_SER_PORT_NOT_FOUND", "the serial port was not set up: check DevicePort"},
    {-40011, "ERR_SER_ACCESS_DENIED",
     "no permission on the serial device: add the user to its group (dialout)"},
    {SIU_ERR_SER_TIMEOUT, "ERR_SER_TIMEOUT",
     "board did not answer: check its power and cable, DevicePort, DeviceProtocol and "
     "DeviceBaudrate"},
    {SIU_ERR_SER_BCC_WRONG, "ERR_SER_BCC_WRONG",
     "replies arrive damaged: check DeviceBaudrate, DeviceParity, DeviceDataBits, DeviceStopBit "
     "and the cable"},
    {SIU_ERR_SER_ACK, "ERR_SER_ACK",
     "the board did not acknowledge: check DeviceProtocol (NorvaDireto or Norva485) and the "
     "line settings"},
    {SIU_ERR_SER_NACK, "ERR_SER_NACK",
     "the board refused the command: wrong DeviceProtocol, or its firmware does not know it"},
    {SIU_ERR_SER_STX, "ERR_SER_STX",
     "the board's reply was not framed as expected: check DeviceProtocol and DeviceBaudrate"},
    {SIU_ERR_CMD_NOT_IMPLEMENTED, "ERR_CMD_NOT_IMPLEMENTED",
     "not available with this board or configuration (no sensor item configured?)"},
    {SIU_ERR_CMD_INVALID_PARAMETER, "ERR_CMD_INVALID_PARAMETER", "a value is out of range"},
    {SIU_ERR_CMD_NOT_SUPPORTED, "ERR_CMD_NOT_SUPPORTED",
     "the board does not know a command named in the configuration (key command)"},
    {-110002, "ERR_TRP_UNKNOWN_PHYSICALLAYER",
     "PhysicalLayer in section [{service}] must be SERIAL (or left out)"},
    {SIU_ERR_TRP_PORT_NOT_OPENED, "ERR_TRP_PORT_NOT_OPENED", "the serial port is not open"},
};

const Explained* find(int code) {
    for (const Explained& e : kExplained)
        if (e.code == code) return &e;
    return nullptr;
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

}  // namespace

std::string codeName(int code) {
    const Explained* e = find(code);
    if (e != nullptr && e->name != nullptr) return e->name;
    return std::to_string(code);
}

std::string codeHint(int code, const HintContext& ctx) {
    const Explained* e = find(code);
    if (e == nullptr) return "see the service's log (LogPath in section [" + ctx.service + "])";
    std::string hint = e->hint;
    replaceAll(hint, "{service}", ctx.service);
    replaceAll(hint, "{library}", ctx.library);
    replaceAll(hint, "{item}", ctx.item.empty() ? "INDICATOR_<name>" : ctx.item);
    return hint;
}

}  // namespace siuctl
