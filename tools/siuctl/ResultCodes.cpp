#include "tools/siuctl/ResultCodes.h"

#include <cstddef>

// The hints cover the codes a technician meets when setting up or servicing a
// terminal; any other code points at the service's log.

namespace siuctl {

namespace {

struct Named {
    int code;
    const char* name;
};

const Named kNames[] = {
#define SIU_RESULT(name, value) {value, #name},
#include "manager/ResultCodes.def"
};

struct Explained {
    int code;
    const char* hint;  // {service}, {library} and {item} are filled in
    // When a command named an item, instead of hint.
    const char* itemHint = nullptr;
};

const Explained kExplained[] = {
    {-1,
     "the port's named semaphore or shared-memory record could not be set up (check /dev/shm "
     "and the System V shared-memory limits)"},
    {rc::ERR_MGR_MAX_SERVICES, "ten services are open in this process"},
    {rc::ERR_MGR_INVALID_INDEX, "the service is not open"},
    {rc::ERR_MGR_INTERNAL_ERROR,
     "the service could not be set up: check DeviceProtocol, MultipleApplication and the line "
     "settings in section [{service}], and the service's log"},
    {rc::ERR_MGR_CLIENT_NOT_FOUND, "Customer in section [{service}] must be NORVA"},
    {rc::ERR_MGR_DEVICE_NOT_FOUND,
     "DeviceName in section [{service}] must be ZT, the device model this library drives"},
    {rc::ERR_CFG_INVALID_SERVICE_NAME,
     "the configuration file has no section [{service}]; name the service with -s"},
    {rc::ERR_CFG_NOT_DEFINED,
     "a required key is missing from section [{service}] (Customer, DeviceName, DeviceProtocol, "
     "DevicePort, DeviceBaudrate, DeviceParity, DeviceDataBits, DeviceStopBit, DeviceRxTimeout, "
     "DeviceTxTimeout, DeviceFlowControl); see examples/NorvaSensorBoard.ini"},
    {rc::ERR_CFG_INI_FILE_NOT_FOUND,
     "configuration file not found: the library reads /Norva/NorvaAPI/NorvaSensorBoard.ini, "
     "else NorvaSensorBoard.ini beside {library}"},
    {rc::ERR_CFG_GETMODULEPATH,
     "the library could not find its own directory; load it by its full path with --lib"},
    {rc::ERR_CFG_INTERNAL_ERROR, "the configuration could not be read (out of memory?)"},
    {rc::ERR_CFG_INVALID_VALUE,
     "a setting in section [{service}] is out of its range: the service's log names the key "
     "and the value",
     "not configured: {item} needs a section [{service}.NORVA_SIU_{item}] with "
     "command_position"},
    {rc::ERR_SEM_TIMEOUT,
     "another process held the port or the configuration file too long: the service's log "
     "names its process id"},
    {rc::ERR_SER_PORT_NOT_OPENED, "the serial port is not open"},
    {rc::ERR_SER_INVALID_PROTOCOL,
     "DeviceProtocol in section [{service}] must be NorvaDireto, Norva485 or Device65A"},
    {rc::ERR_SER_OPEN_FAILED,
     "port could not be opened: check DevicePort in section [{service}], that the device exists "
     "and that this user may open it (dialout group); check DeviceParity and DeviceFlowControl"},
    {rc::ERR_SER_WRITE_FAILED, "writing to the serial port failed: was the adapter unplugged?"},
    {rc::ERR_SER_READ_FAILED, "reading from the serial port failed: was the adapter unplugged?"},
    {rc::ERR_SER_INVALID_SIZE,
     "the board's reply was too long: noise on the line or a wrong DeviceBaudrate"},
    {rc::ERR_SER_INVALID_RESPONSE, "the board's reply made no sense: check DeviceProtocol"},
    {rc::ERR_SER_PORT_NOT_FOUND,
     "the serial line is gone (adapter unplugged or its device node removed): check the cable "
     "and DevicePort in section [{service}]; the next command opens it again"},
    {rc::ERR_SER_ACCESS_DENIED,
     "no permission on the serial device: add the user to its group (dialout)"},
    {rc::ERR_SER_TIMEOUT,
     "board did not answer: check its power and cable, DevicePort, DeviceProtocol and "
     "DeviceBaudrate"},
    {rc::ERR_SER_BCC_WRONG,
     "replies arrive damaged: check DeviceBaudrate, DeviceParity, DeviceDataBits, DeviceStopBit "
     "and the cable"},
    {rc::ERR_SER_ACK,
     "the board did not acknowledge: check DeviceProtocol (NorvaDireto or Norva485) and the "
     "line settings"},
    {rc::ERR_SER_NACK,
     "the board refused the command: wrong DeviceProtocol, or its firmware does not know it"},
    {rc::ERR_SER_STX,
     "the board's reply was not framed as expected: check DeviceProtocol and DeviceBaudrate"},
    {rc::ERR_CMD_NOT_IMPLEMENTED,
     "not available with this board or configuration (no sensor item configured?)"},
    {rc::ERR_CMD_INVALID_PARAMETER, "a value is out of range"},
    {rc::ERR_CMD_NOT_SUPPORTED,
     "the board does not know a command named in the configuration (key command)"},
    {rc::ERR_TRP_UNKNOWN_PHYSICALLAYER,
     "PhysicalLayer in section [{service}] must be SERIAL (or left out)"},
    {rc::ERR_TRP_PORT_NOT_OPENED, "the serial port is not open"},
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
    for (const Named& n : kNames)
        if (n.code == code) return n.name;
    return std::to_string(code);
}

std::string codeHint(int code, const HintContext& ctx) {
    const Explained* e = find(code);
    if (e == nullptr) return "see the service's log (LogPath in section [" + ctx.service + "])";
    std::string hint = e->itemHint != nullptr && !ctx.item.empty() ? e->itemHint : e->hint;
    replaceAll(hint, "{service}", ctx.service);
    replaceAll(hint, "{library}", ctx.library);
    replaceAll(hint, "{item}", ctx.item);
    return hint;
}

}  // namespace siuctl
