#include "manager/Global.h"

#include <cstdlib>
#include <cstring>
#include <memory>

const char* getGlobalStrErrors(int iErrorCod) {
    switch (iErrorCod) {
    case SUCCESS: return "SUCCESS";
    case ERR_MGR_MAX_SERVICES: return "ERR_MGR_MAX_SERVICES";
    case ERR_MGR_INVALID_INDEX: return "ERR_MGR_INVALID_INDEX";
    case ERR_MGR_INVALID_POINTER: return "ERR_MGR_INVALID_POINTER";
    case ERR_MGR_INTERNAL_ERROR: return "ERR_MGR_INTERNAL_ERROR";
    case ERR_MGR_CLIENT_NOT_FOUND: return "ERR_MGR_CLIENT_NOT_FOUND";
    case ERR_MGR_DEVICE_NOT_FOUND: return "ERR_MGR_DEVICE_NOT_FOUND";
    case ERR_CFG_INVALID_SERVICE_NAME: return "ERR_CFG_INVALID_SERVICE_NAME";
    case ERR_CFG_NOT_DEFINED: return "ERR_CFG_NOT_DEFINED";
    case ERR_CFG_INI_FILE_NOT_FOUND: return "ERR_CFG_INI_FILE_NOT_FOUND";
    case ERR_CFG_GETMODULEPATH: return "ERR_CFG_GETMODULEPATH";
    case ERR_CFG_INTERNAL_ERROR: return "ERR_CFG_INTERNAL_ERROR";
    case ERR_CFG_INVALID_VALUE: return "ERR_CFG_INVALID_VALUE";
    case ERR_CFG_INVALID_PARAMETER_VALUE: return "ERR_CFG_INVALID_PARAMETER_VALUE";
    case ERR_SEM_GENERIC_ERROR: return "ERR_SEM_GENERIC_ERROR";
    case ERR_SEM_TIMEOUT: return "ERR_SEM_TIMEOUT";
    case ERR_SEM_ERROR_CREATE_SEM: return "ERR_SEM_ERROR_CREATE_SEM";
    case ERR_SEM_ERROR_CLOSE_SEM: return "ERR_SEM_ERROR_CLOSE_SEM";
    case ERR_SEM_INVALID: return "ERR_SEM_INVALID";
    case ERR_SEM_RELEASE_FAILED: return "ERR_SEM_RELEASE_FAILED";
    case ERR_SEM_INI_SEC_DESCRIPTOR: return "ERR_SEM_INI_SEC_DESCRIPTOR";
    case ERR_SEM_SET_SEC_DESCRIPTOR: return "ERR_SEM_SET_SEC_DESCRIPTOR";
    case ERR_SER_PORT_NOT_OPENED: return "ERR_SER_PORT_NOT_OPENED";
    case ERR_SER_INVALID_PROTOCOL: return "ERR_SER_INVALID_PROTOCOL";
    case ERR_SER_OPEN_FAILED: return "ERR_SER_OPEN_FAILED";
    case ERR_SER_WRITE_FAILED: return "ERR_SER_WRITE_FAILED";
    case ERR_SER_READ_FAILED: return "ERR_SER_READ_FAILED";
    case ERR_SER_CRC16_WRONG: return "ERR_SER_CRC16_WRONG";
    case ERR_SER_INVALID_RESULT_POINTER: return "ERR_SER_INVALID_RESULT_POINTER";
    case ERR_SER_INVALID_SIZE: return "ERR_SER_INVALID_SIZE";
    case ERR_SER_INVALID_RESPONSE: return "ERR_SER_INVALID_RESPONSE";
    case ERR_SER_PORT_NOT_FOUND: return "ERR_SER_PORT_NOT_FOUND";
    case ERR_SER_ACCESS_DENIED: return "ERR_SER_ACCESS_DENIED";
    case ERR_SER_TIMEOUT: return "ERR_SER_TIMEOUT";
    case ERR_SER_CLOSE_FAILED: return "ERR_SER_CLOSE_FAILED";
    case ERR_SER_FLUSH_FAILED: return "ERR_SER_FLUSH_FAILED";
    case ERR_SER_DTR_FAILED: return "ERR_SER_DTR_FAILED";
    case ERR_SER_RTS_FAILED: return "ERR_SER_RTS_FAILED";
    case ERR_SER_BCC_WRONG: return "ERR_SER_BCC_WRONG";
    case ERR_SER_ACK: return "ERR_SER_ACK";
    case ERR_SER_NACK: return "ERR_SER_NACK";
    case ERR_SER_STX: return "ERR_SER_STX";
    case ERR_SER_DATALEN: return "ERR_SER_DATALEN";
    case ERR_SER_ETX: return "ERR_SER_ETX";
    case ERR_SER_CMD: return "ERR_SER_CMD";
    case ERR_CMD_NOT_IMPLEMENTED: return "ERR_CMD_NOT_IMPLEMENTED";
    case ERR_CMD_INVALID_PARAMETER: return "ERR_CMD_INVALID_PARAMETER";
    case ERR_CMD_NOT_SUPPORTED: return "ERR_CMD_NOT_SUPPORTED";
    case ERR_CMD_INVALID_RESPONSE: return "ERR_CMD_INVALID_RESPONSE";
    case ERR_CMD_PROCESSING: return "ERR_CMD_PROCESSING";
    case ERR_CMD_FILE_NOT_FOUND: return "ERR_CMD_FILE_NOT_FOUND";
    case ERR_CMD_TIMEOUT: return "ERR_CMD_TIMEOUT";
    case ERR_CMD_UNABLE_TO_EXECUTE: return "ERR_CMD_UNABLE_TO_EXECUTE";
    case ERR_CMD_BUSY: return "ERR_CMD_BUSY";
    // The two late additions to the command block never got texts of their
    // own; applications already match on "NULL" for them.
    case ERR_CMD_UNABLE_TO_EXECUTE_2: return "NULL";
    case ERR_CMD_ERROR_WHEN_EXECUTING: return "ERR_CMD_ERROR_WHEN_EXECUTING";
    case ERR_CMD_INVALID_EXECUTION_ORDER: return "NULL";
    case ERR_LOG_INVALID_POINTER: return "ERR_LOG_INVALID_POINTER";
    case ERR_LOG_DISABLED: return "ERR_LOG_DISABLED";
    case ERR_INT_INVALID_POINTER: return "ERR_INT_INVALID_POINTER";
    case ERR_GEN_OUT_OF_MEMORY: return "ERR_GEN_OUT_OF_MEMORY";
    case ERR_GEN_INTERNAL_ERROR: return "ERR_GEN_INTERNAL_ERROR";
    case ERR_GEN_RESOURCE_NOT_FOUND: return "ERR_GEN_RESOURCE_NOT_FOUND";
    case ERR_GEN_NAMED_EVENT_INI_SEC_DESCRIPTOR: return "ERR_GEN_NAMED_EVENT_INI_SEC_DESCRIPTOR";
    case ERR_GEN_NAMED_EVENT_SET_SEC_DESCRIPTOR: return "ERR_GEN_NAMED_EVENT_SET_SEC_DESCRIPTOR";
    case ERR_GEN_NAMED_EVENT_SET_EVENT: return "ERR_GEN_NAMED_EVENT_SET_EVENT";
    case ERR_GEN_INVALID_POINTER: return "ERR_GEN_INVALID_POINTER";
    case ERR_GEN_INVALID_SIZE: return "ERR_GEN_INVALID_SIZE";
    case ERR_GEN_INVALID_DATA: return "ERR_GEN_INVALID_DATA";
    case ERR_GEN_INVALID_PARAMETER: return "ERR_GEN_INVALID_PARAMETER";
    case ERR_USB_DEV_NOT_OPENED: return "ERR_USB_DEV_NOT_OPENED";
    case ERR_USB_DEV_NOT_FOUND: return "ERR_USB_DEV_NOT_FOUND";
    case ERR_USB_DEV_ALREADY_OPENED: return "ERR_USB_DEV_ALREADY_OPENED";
    case ERR_USB_DEV_LOADLIB_FAILED: return "ERR_USB_DEV_LOADLIB_FAILED";
    case ERR_USB_DEV_INVALIDHANDLE: return "ERR_USB_DEV_INVALIDHANDLE";
    case ERR_USB_DEV_CONFIG_FAILED: return "ERR_USB_DEV_CONFIG_FAILED";
    case ERR_USB_DEV_CLAIM_FAILED: return "ERR_USB_DEV_CLAIM_FAILED";
    case ERR_USB_DEV_RELEASE_FAILED: return "ERR_USB_DEV_RELEASE_FAILED";
    case ERR_USB_DEV_CLOSE_FAILED: return "ERR_USB_DEV_CLOSE_FAILED";
    case ERR_USB_DEV_READ_FAILED: return "ERR_USB_DEV_READ_FAILED";
    case ERR_USB_DEV_WRITE_FAILED: return "ERR_USB_DEV_WRITE_FAILED";
    case ERR_USB_DEV_DETACH_FAILED: return "ERR_USB_DEV_DETACH_FAILED";
    case ERR_USB_DEV_NOT_SUPPORTED: return "ERR_USB_DEV_NOT_SUPPORTED";
    case ERR_USB_DEV_ERROR_ACCESS: return "ERR_USB_DEV_ERROR_ACCESS";
    // Shares its text with ERR_USB_DEV_ERROR_ACCESS on purpose.
    case ERR_USB_DEV_NO_DEVICE: return "ERR_USB_DEV_ERROR_ACCESS";
    case ERR_USB_DEV_BUSY: return "ERR_USB_DEV_BUSY";
    case ERR_USB_DEV_TIMEOUT: return "ERR_USB_DEV_TIMEOUT";
    case ERR_USB_DEV_OVERFLOW: return "ERR_USB_DEV_OVERFLOW";
    case ERR_USB_DEV_ERROR_PIPE: return "ERR_USB_DEV_ERROR_PIPE";
    case ERR_USB_DEV_ERROR_INTERRUPTED: return "ERR_USB_DEV_ERROR_INTERRUPTED";
    case ERR_USB_DEV_ERROR_NO_MEM: return "ERR_USB_DEV_ERROR_NO_MEM";
    case ERR_USB_DEV_ERROR_NOT_SUPPORTED: return "ERR_USB_DEV_ERROR_NOT_SUPPORTED";
    case ERR_CBI_UNSUPPORTED: return "ERR_CBI_UNSUPPORTED";
    case ERR_TRP_GENERIC: return "ERR_TRP_GENERIC";
    case ERR_TRP_UNKNOWN_PHYSICALLAYER: return "ERR_TRP_UNKNOWN_PHYSICALLAYER";
    case ERR_TRP_PORT_NOT_OPENED: return "ERR_TRP_PORT_NOT_OPENED";
    case ERR_TRP_NOT_DEFINED_PHYSICALLAYER: return "ERR_TRP_NOT_DEFINED_PHYSICALLAYER";
    case ERR_DEV_NOT_FOUND: return "ERR_DEV_NOT_FOUND";
    case ERR_DEV_MODEL_NOT_FOUND: return "ERR_DEV_MODEL_NOT_FOUND";
    case ERR_DEV_LINK_NOT_OPEN: return "ERR_DEV_LINK_NOT_OPEN";
    case ERR_DEV_ERROR: return "ERR_DEV_ERROR";
    case ERR_MFR_DEV_NOT_OPENED: return "ERR_MFR_DEV_NOT_OPENED";
    case ERR_MFR_DEV_ALREADY_OPENED: return "ERR_MFR_DEV_ALREADY_OPENED";
    case ERR_MFR_DEV_LOADLIB_FAILED: return "ERR_MFR_DEV_LOADLIB_FAILED";
    case ERR_MFR_DEV_CLOSE_FAILED: return "ERR_MFR_DEV_CLOSE_FAILED";
    case ERR_MFR_DEV_READ_FAILED: return "ERR_MFR_DEV_READ_FAILED";
    case ERR_MFR_DEV_WRITE_FAILED: return "ERR_MFR_DEV_WRITE_FAILED";
    case ERR_LIB_NOT_OPENED: return "ERR_LIB_NOT_OPENED";
    case ERR_LIB_OUT_OF_DATE: return "ERR_LIB_OUT_OF_DATE";
    case ERR_LIB_NOT_CLOSED: return "ERR_LIB_NOT_CLOSED";
    case ERR_LIB_SYMBOL_NOT_FOUND: return "ERR_LIB_SYMBOL_NOT_FOUND";
    case ERR_LIB_INTERNAL_ERROR: return "ERR_LIB_INTERNAL_ERROR";
    case ERR_SKT_DEV_NOT_OPENED: return "ERR_SKT_DEV_NOT_OPENED";
    case ERR_SKT_DEV_ALREADY_OPENED: return "ERR_SKT_DEV_ALREADY_OPENED";
    case ERR_SKT_DEV_INVALID_HOSTNAME: return "ERR_SKT_DEV_INVALID_HOSTNAME";
    case ERR_SKT_DEV_INVALID_PORT: return "ERR_SKT_DEV_INVALID_PORT";
    case ERR_SKT_DEV_FAILED_GET_HOST_BY_NAME: return "ERR_SKT_DEV_FAILED_GET_HOST_BY_NAME";
    case ERR_SKT_DEV_CLOSE_FAILED: return "ERR_SKT_DEV_CLOSE_FAILED";
    case ERR_SKT_DEV_READ_FAILED: return "ERR_SKT_DEV_READ_FAILED";
    case ERR_SKT_DEV_WRITE_FAILED: return "ERR_SKT_DEV_WRITE_FAILED";
    case ERR_SKT_DEV_CONNECTION_CLOSED: return "ERR_SKT_DEV_CONNECTION_CLOSED";
    case ERR_FLE_DEV_NOT_OPENED: return "ERR_FLE_DEV_NOT_OPENED";
    case ERR_FLE_DEV_ALREADY_OPENED: return "ERR_FLE_DEV_ALREADY_OPENED";
    case ERR_FLE_DEV_INVALID_PATH: return "ERR_FLE_DEV_INVALID_PATH";
    case ERR_FLE_DEV_INVALID_NAME: return "ERR_FLE_DEV_INVALID_NAME";
    case ERR_FLE_DEV_CLOSE_FAILED: return "ERR_FLE_DEV_CLOSE_FAILED";
    case ERR_FLE_DEV_READ_FAILED: return "ERR_FLE_DEV_READ_FAILED";
    case ERR_FLE_DEV_WRITE_FAILED: return "ERR_FLE_DEV_WRITE_FAILED";
    case ERR_FLE_DEV_TIMEOUT: return "ERR_FLE_DEV_TIMEOUT";
    case ERR_FLE_DEV_FLUSH_FAILED: return "ERR_FLE_DEV_FLUSH_FAILED";
    default: return "NULL";
    }
}

unsigned long convertStringVersionToLongInt(char* str, int str_size) {
    if (str == nullptr) return 0;
    if (str_size < 0) str_size = 0;
    // A terminated private copy: the caller's text need not be terminated
    // within str_size bytes.
    std::unique_ptr<char[]> copy(new char[static_cast<size_t>(str_size) + 1]());
    std::memcpy(copy.get(), str, strnlen(str, static_cast<size_t>(str_size)));

    unsigned long result = 0;
    int field = 0;
    char* cur = copy.get();
    bool dotFound;
    do {
        char* dot = std::strchr(cur, '.');
        dotFound = dot != nullptr;
        if (dotFound || *cur != '\0') {
            if (dotFound) *dot = '\0';
            unsigned long byte = static_cast<unsigned long>(std::atoi(cur)) & 0xFFUL;
            result += byte << (24 - 8 * field);
            cur += std::strlen(cur) + (dotFound ? 1 : 0);
            ++field;
        }
    } while (field < 4 && dotFound);
    return result & 0xFFFFFFFFUL;
}
