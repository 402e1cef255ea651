// Sharing one serial device among processes: a named semaphore per device
// serialises the exchanges, and a System V shared-memory slot records the pid
// of the process inside an exchange, so that a semaphore left locked by a
// process that died can be replaced at the next open.

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "common/Log.h"
#include "libuart/comm_base.h"
#include "manager/Global.h"
#include "transport/TransportProtocol.h"

void TransportProtocol::ShmDetach::operator()(int* slot) const {
    if (slot != nullptr) shmdt(slot);
}

int TransportProtocol::createSem() {
    if (!isMultipleApplication) {
        // A single application always starts from a fresh semaphore, whatever
        // another process left behind under the same name.
        int rc = UnlinkNamedSem(semName);
        logPrintf(DBG, "TransportProtocol::createSem", "UnlinkNamedSem(%s) = %d", semName, rc);
    }
    if (CreateNamedSem(semName, &semPort) != SUCCESS) return -1;
    int* slot = nullptr;
    if (getSharedMemory(&slot) != 0) return -1;
    semPid.reset(slot);

    int holder = *slot;
    if (holder == 0 || verifyPid(holder)) return 0;

    // The holder died inside an exchange and left the semaphore taken.
    if (UnlinkNamedSem(semName) != SUCCESS) return -1;
    if (DestroyNamedSem(semName, &semPort) != SUCCESS) return -1;
    semPort = nullptr;
    if (CreateNamedSem(semName, &semPort) != SUCCESS) return -1;
    *slot = 0;
    return 0;
}

int TransportProtocol::getSharedMemory(int** slot) {
    if (slot == nullptr) return -1;
    // The key follows the working directory, not the device: every port of
    // the processes started in one directory shares this one slot.
    char cwd[512];
    if (getcwd(cwd, sizeof cwd) == nullptr) return -1;
    key_t key = ftok(cwd, cwd[0]);
    if (key == static_cast<key_t>(-1)) return -1;

    bool created = false;
    int id = shmget(key, sizeof(int), 0644);
    if (id == -1) {
        if (errno != ENOENT) return -1;
        id = shmget(key, sizeof(int), IPC_CREAT | 0644);
        if (id == -1) return -1;
        created = true;
    }
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) return -1;
    *slot = static_cast<int*>(address);
    if (created) **slot = 0;
    return 0;
}

int TransportProtocol::verifyPid(int pid) {
    if (pid <= 0) return 0;
    char command[64];
    std::snprintf(command, sizeof command, "ps -o pid= -p %d", pid);
    struct PipeCloser {
        void operator()(FILE* f) const { pclose(f); }
    };
    std::unique_ptr<FILE, PipeCloser> pipe(popen(command, "r"));
    if (pipe == nullptr) return 0;
    char* line = nullptr;
    size_t capacity = 0;
    bool alive = getline(&line, &capacity, pipe.get()) > 0;
    std::free(line);
    return alive ? 1 : 0;
}

int TransportProtocol::lockSem(sem_t* sem) {
    int rc = LockNamedSem(sem);
    if (semPid != nullptr) *semPid = static_cast<int>(getpid());
    return rc;
}

int TransportProtocol::releaseSem(sem_t* sem) {
    if (semPid != nullptr) *semPid = 0;
    return ReleaseNamedSem(sem);
}

bool TransportProtocol::errorExistsInListToRetry(int code) {
    for (int listed : lstErrorListToRetry) {
        if (listed == code) return true;
    }
    return false;
}

bool TransportProtocol::doRetry(int code) {
    return errorExistsInListToRetry(code);
}

int TransportProtocol::Write(unsigned char* buf, int len, bool traced) {
    if (traced) logHex(DBX, "TransportProtocol::Write", "WDATA:", buf, len);
    if (comm == nullptr || buf == nullptr) return ERR_GEN_INTERNAL_ERROR;
    return comm->Write(buf, len);
}

int TransportProtocol::Read(unsigned char* buf, int len, bool traced) {
    int rc = (comm == nullptr || buf == nullptr) ? ERR_GEN_INTERNAL_ERROR : comm->Read(buf, len);
    if (traced) {
        if (rc < 1) {
            logPrintf(DBG, "TransportProtocol::Read", "RDATA: NULL");
        } else {
            logHex(DBX, "TransportProtocol::Read", "RDATA:", buf, rc);
        }
    }
    return rc;
}
