/*
 * NorvaSIU.h - application interface of libNorvaSensorBoard.so.1, the driver
 * of a self-service terminal's sensor board (Sensors and Indicators Unit).
 *
 * Usable from C and C++. Link with -lNorvaSensorBoard (or dlopen
 * "libNorvaSensorBoard.so.1").
 *
 * Usage: SIU_Open(service, &idx) with the name of a section of
 * NorvaSensorBoard.ini, then any SIU_ command with idx, then
 * SIU_Close(service, &idx).
 *
 * Results: every function returns 0 (SUCCESS) or a negative result code. The
 * codes are grouped per layer in blocks of ten thousand (-10001.. service
 * manager, -20001.. configuration, -30001.. semaphores, -40001.. serial link,
 * -50001.. command, -60001.. logging, -80001.. general, -110001.. transport);
 * the codes each function is expected to return are listed with it, and any
 * function that talks to the board may also return a serial-link code
 * (SIU_ERR_SER_*) or a transport code (-110001..-110004).
 *
 * Threads: any thread may call any function. Commands of different services
 * run side by side; exchanges on one serial port are serialised by the
 * library, also across processes. Do not issue two commands of the SAME
 * service at the same time. SIU_Close waits until no command of any service
 * is running.
 *
 * Waits: no call waits without a bound. A port that another process keeps
 * past its budget, or the library's own table held by a thread stuck on a
 * fault, returns SIU_ERR_SEM_TIMEOUT instead of blocking the caller.
 *
 * Memory: the library allocates only the firmware version text of
 * SIU_GetDeviceInfo; release it with SIU_freeBuffer. Everything else is
 * written into the caller's own variables and arrays.
 */
#ifndef NORVA_SIU_H
#define NORVA_SIU_H

#ifdef __cplusplus
extern "C" {
#endif

#define SIU_EXPORT __attribute__((visibility("default")))

/* Number of entries of every status array passed to SIU_GetSensorStatus and
   SIU_ResetSensorStatus. */
#define NORVA_SIU_ARRAY_SIZE 64

/* Result codes an application commonly meets (the full set is larger). */
#define SIU_SUCCESS 0
#define SIU_ERR_MGR_MAX_SERVICES (-10001)
#define SIU_ERR_MGR_INVALID_INDEX (-10002)
#define SIU_ERR_MGR_INVALID_POINTER (-10003)
#define SIU_ERR_MGR_INTERNAL_ERROR (-10004)
#define SIU_ERR_MGR_CLIENT_NOT_FOUND (-10005)
#define SIU_ERR_MGR_DEVICE_NOT_FOUND (-10006)
#define SIU_ERR_CFG_INVALID_SERVICE_NAME (-20001)
#define SIU_ERR_CFG_NOT_DEFINED (-20002)
#define SIU_ERR_CFG_INI_FILE_NOT_FOUND (-20003)
#define SIU_ERR_CFG_GETMODULEPATH (-20004)
#define SIU_ERR_CFG_INVALID_VALUE (-20006)
#define SIU_ERR_SEM_TIMEOUT (-30002)
#define SIU_ERR_SER_PORT_NOT_OPENED (-40001)
#define SIU_ERR_SER_INVALID_PROTOCOL (-40002)
#define SIU_ERR_SER_OPEN_FAILED (-40003)
#define SIU_ERR_SER_WRITE_FAILED (-40004)
#define SIU_ERR_SER_READ_FAILED (-40005)
#define SIU_ERR_SER_INVALID_SIZE (-40008)
#define SIU_ERR_SER_TIMEOUT (-40012)
#define SIU_ERR_SER_BCC_WRONG (-40017)
#define SIU_ERR_SER_ACK (-40018)
#define SIU_ERR_SER_NACK (-40019)
#define SIU_ERR_SER_STX (-40020)
#define SIU_ERR_CMD_NOT_IMPLEMENTED (-50001)
#define SIU_ERR_CMD_INVALID_PARAMETER (-50002)
#define SIU_ERR_CMD_NOT_SUPPORTED (-50003)
#define SIU_ERR_TRP_PORT_NOT_OPENED (-110003)
#define SIU_ERR_DEV_LINK_NOT_OPEN (-120003)

/* Indicator states (SIU_SetIndicator, SIU_SetBuzzer). */
typedef enum NORVA_SIU_INDICATOR_VALUE {
    NORVA_SIU_INDICATOR_VALUE_OFF = 0,
    NORVA_SIU_INDICATOR_VALUE_ON = 1,
    NORVA_SIU_INDICATOR_VALUE_BLINK = 2
} NORVA_SIU_INDICATOR_VALUE;

/* Switchable ports (SIU_SetPorts). The spelling ELETRONIC is part of the
   interface. */
typedef enum NORVA_SIU_SETPORTS {
    NORVA_SIU_SETPORTS_PANEL = 0,
    NORVA_SIU_SETPORTS_ELETRONIC_KEY = 1
} NORVA_SIU_SETPORTS;

typedef enum NORVA_SIU_SETPORTS_VALUE {
    NORVA_SIU_SETPORTS_VALUE_OFF = 0,
    NORVA_SIU_SETPORTS_VALUE_ON = 1
} NORVA_SIU_SETPORTS_VALUE;

/* States written into the status arrays. 0 is not a state. */
typedef enum NORVA_SIU_VALUE {
    NORVA_SIU_VALUE_NOT_AVAILABLE = 1,
    NORVA_SIU_VALUE_OFF = 2,
    NORVA_SIU_VALUE_ON = 3,
    NORVA_SIU_VALUE_CLOSED = 4,
    NORVA_SIU_VALUE_OPENED = 5,
    NORVA_SIU_VALUE_LOCKED = 6,
    NORVA_SIU_VALUE_UNLOCKED = 7,
    NORVA_SIU_VALUE_AT_POSITION = 8,
    NORVA_SIU_VALUE_NOT_AT_POSITION = 9,
    NORVA_SIU_VALUE_RUN = 10,
    NORVA_SIU_VALUE_SUPERVISOR = 11,
    NORVA_SIU_VALUE_MAINTENANCE = 12
} NORVA_SIU_VALUE;

/*
 * Opens the service named by the INI section `service` and writes its index
 * (0..9) into *idx, or -1 on failure. Opening a service this process already
 * holds returns the same index and counts the open; each open needs its own
 * SIU_Close. At most ten services per process.
 * Codes: SUCCESS; ERR_CMD_INVALID_PARAMETER (null argument);
 * ERR_MGR_MAX_SERVICES; ERR_CFG_* (file or key missing); ERR_MGR_CLIENT_NOT_FOUND
 * (Customer is not NORVA); ERR_MGR_DEVICE_NOT_FOUND (DeviceName is not ZT);
 * ERR_SER_* / ERR_TRP_* (port could not be opened, board did not answer).
 */
SIU_EXPORT int SIU_Open(char* service, int* idx);

/*
 * Drops one open of the service; the last one closes the port and sets *idx
 * to -1. Waits for commands running on other threads.
 * Codes: SUCCESS (also when the board did not answer the close);
 * ERR_MGR_INVALID_INDEX; ERR_CFG_INVALID_SERVICE_NAME (name does not match).
 */
SIU_EXPORT int SIU_Close(char* service, int* idx);

/* Switches every indicator off. Codes: SUCCESS, ERR_MGR_INVALID_INDEX, link codes. */
SIU_EXPORT int SIU_Reset(int idx);

/*
 * Reads the firmware version and the capabilities. *eprom_version receives a
 * new text that the caller releases with
 * SIU_freeBuffer((unsigned char**)eprom_version). Each caps_ word has bit n
 * set when item n of its group is configured; the reserved_ word beside it
 * carries items 32..63. No argument may be null.
 * Codes: SUCCESS, ERR_CMD_INVALID_PARAMETER, ERR_MGR_INVALID_INDEX,
 * ERR_DEV_LINK_NOT_OPEN (the device's open command has not succeeded, so no
 * sensor tables are loaded), link codes.
 */
SIU_EXPORT int SIU_GetDeviceInfo(int idx, char** eprom_version,
                                 unsigned int* caps_door, unsigned int* reserved_0,
                                 unsigned int* caps_lock, unsigned int* reserved_1,
                                 unsigned int* caps_sensor, unsigned int* reserved_2,
                                 unsigned int* caps_position, unsigned int* reserved_3,
                                 unsigned int* caps_auxiliar, unsigned int* reserved_4,
                                 unsigned int* caps_sensor_cass, unsigned int* reserved_5,
                                 unsigned int* caps_vendor, unsigned int* reserved_6,
                                 unsigned int* caps_indicator, unsigned int* reserved_7);

/* Sends nothing. Codes: SUCCESS; ERR_CMD_INVALID_PARAMETER for a null status. */
SIU_EXPORT int SIU_GetDeviceStatus(int idx, unsigned int* status);

/*
 * Sets one indicator (0..16) to a NORVA_SIU_INDICATOR_VALUE.
 * Codes: SUCCESS; ERR_CMD_INVALID_PARAMETER (value above 2, indicator above
 * 16); ERR_CFG_INVALID_VALUE (indicator not configured); ERR_DEV_LINK_NOT_OPEN
 * (device not opened); link codes.
 */
SIU_EXPORT int SIU_SetIndicator(int idx, unsigned int indicator, unsigned int value);

/*
 * Reads every sensor. Each argument must point at an array of
 * NORVA_SIU_ARRAY_SIZE (64) entries, all of which are written with
 * NORVA_SIU_VALUE states (NOT_AVAILABLE for items not configured).
 * Codes: SUCCESS; ERR_CMD_NOT_IMPLEMENTED when no sensor is configured (the
 * arrays are still filled); ERR_CMD_INVALID_PARAMETER (an array is null);
 * ERR_DEV_LINK_NOT_OPEN (device not opened); link codes (arrays untouched).
 */
SIU_EXPORT int SIU_GetSensorStatus(int idx, unsigned int* door, unsigned int* lock,
                                   unsigned int* sensor, unsigned int* position,
                                   unsigned int* auxiliar, unsigned int* sensor_cass,
                                   unsigned int* vendor);

/*
 * Clears the latched flags of the sensors marked with a non-zero entry. Only
 * entries 0..6 of each array are looked at, but pass seven arrays of 64.
 * Codes: SUCCESS; ERR_CMD_NOT_IMPLEMENTED when nothing was sent;
 * ERR_CMD_INVALID_PARAMETER (an array is null); ERR_DEV_LINK_NOT_OPEN (device
 * not opened); link codes (the clears before a failed one stay done).
 */
SIU_EXPORT int SIU_ResetSensorStatus(int idx, unsigned int* door, unsigned int* lock,
                                     unsigned int* sensor, unsigned int* position,
                                     unsigned int* auxiliar, unsigned int* sensor_cass,
                                     unsigned int* vendor);

/*
 * Switches a port: NORVA_SIU_SETPORTS_ELETRONIC_KEY on or off.
 * Codes: SUCCESS; ERR_CMD_NOT_IMPLEMENTED for the panel port;
 * ERR_CMD_INVALID_PARAMETER for an unknown port; link codes.
 */
SIU_EXPORT int SIU_SetPorts(int idx, unsigned int port, unsigned int value);

/* Reads the sensor motion time into *time. Codes: SUCCESS,
   ERR_CMD_INVALID_PARAMETER (null time), link codes. */
SIU_EXPORT int SIU_GetSensorMotionTime(int idx, unsigned int* time);

/* Sets the sensor motion time, 100..999. Codes: SUCCESS,
   ERR_CMD_INVALID_PARAMETER (out of range), link codes. */
SIU_EXPORT int SIU_SetSensorMotionTime(int idx, unsigned int time);

/* Buzzer off (0), on (1) or blinking (2). Codes: SUCCESS,
   ERR_CMD_INVALID_PARAMETER (above 2), link codes. */
SIU_EXPORT int SIU_SetBuzzer(int idx, unsigned int value);

/*
 * Remote power cycle: off for TimerToOff (0..999), then on after TimerToOn
 * (0..99999). `data` must point at four writable bytes: it always receives
 * the first four bytes of the board's answer, or "Erro" after a failure.
 * Codes: SUCCESS, ERR_CMD_INVALID_PARAMETER (timers out of range), link codes.
 */
SIU_EXPORT int SIU_ResetRemoto(int idx, unsigned int TimerToOff, unsigned int TimerToOn,
                               unsigned char* data);

/*
 * Releases a buffer the library allocated (the version text) and sets
 * *buffer to NULL. Codes: SUCCESS; ERR_MGR_INVALID_POINTER when buffer or
 * *buffer is null.
 */
SIU_EXPORT int SIU_freeBuffer(unsigned char** buffer);

#undef SIU_EXPORT

#ifdef __cplusplus
}
#endif

#endif /* NORVA_SIU_H */
