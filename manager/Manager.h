#pragma once
// The service manager: the process-wide table of open services. A service's
// slot number is the index the application uses. The manager counts repeated
// opens of one service, resolves "automatic" services to the first numbered
// service whose device answers, frames every command with a log line before
// and after, and tears a service down on its last close.
//
// Its one lock (semManager) guards the table and the count of running
// commands. Commands themselves run without it, side by side; a close holds it
// throughout and waits until no command of any service is running.

#include <atomic>
#include <memory>

#include "common/Semaphores.h"

class BLClientNORVA;
class Configuration;
class Log;

constexpr int MAX_SERVICES = 10;

// One service slot. A free slot has no client; freeing a slot clears it whole.
struct st_objectPointer {
    st_objectPointer();
    ~st_objectPointer();
    st_objectPointer(const st_objectPointer&) = delete;
    st_objectPointer& operator=(const st_objectPointer&) = delete;
    // Destroys the client first (it reads the configuration on its way out),
    // then the log and the configuration, and clears the rest.
    void clear();

    std::unique_ptr<BLClientNORVA> pointer;
    char strtype[255];  // customer the client was made for
    std::unique_ptr<Configuration> cfg;
    std::unique_ptr<Log> log;
    unsigned int ConectionCount;  // opens of this process not yet closed
};

// One open attempt for one concrete service name.
struct STRUCT_SERVICE {
    STRUCT_SERVICE()
        : service(nullptr), idx(nullptr), already_open(nullptr), open(false), automatic(false) {}
    char* service;
    int* idx;
    bool* already_open;
    bool open;       // send CMD_OPEN as part of the attempt
    bool automatic;  // the name was derived from an "Automatic" base
};

class Manager {
public:
    // Finds the library's own directory and loads the log library; without
    // it the library runs without logs.
    Manager();
    // Closes services from slot 0 up to the first free slot (those after a
    // gap stay open), then unloads the log library.
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    // Opens or re-opens a service by name and writes its index into *idx (-1
    // on failure). *already_open is set when this process held it already.
    // With open, CMD_OPEN is sent as part of the attempt; an automatic service
    // always sends it while probing.
    int newObject(char* service, int* idx, bool* already_open, bool open);
    // One attempt for one concrete name; called with semManager held.
    int newObject(STRUCT_SERVICE* lpStService);
    // Drops one open of the service at *idx; the last one sends CMD_CLOSE,
    // frees the slot and sets *idx to -1. Waits for running commands.
    int deleteObject(char* service, int* idx, bool lock);
    // Runs one command on an open service.
    int executeCMD(int idx, int cmd, void* buffer_in, void** buffer_resp);
    // Releases an array the library handed out and nulls the pointer.
    int freeBuffer(void** buffer);
    // SUCCESS when idx is 0..9 and names an open service.
    int validateIndex(int idx);
    // SUCCESS when the first open slot of that service name is idx.
    int validateIndex(char* service, int idx);

private:
    int openAttempt(STRUCT_SERVICE* lpStService, int slot);
    int closeLastReference(char* service, int* idx);
    int waitForRunningCommands();
    int lock();
    void unlock();

    st_objectPointer objectPointers[MAX_SERVICES];
    SEM_UNNAMED semManager;
    std::atomic<int> iRunningCountCMD;
};

// The one manager of the process, made when the library is loaded and never
// destroyed; null only if it could not be made.
extern Manager* mgr;
