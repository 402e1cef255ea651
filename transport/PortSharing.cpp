// Sharing one serial device among processes: a process lock named after the
// device serialises the exchanges and survives a holder that dies inside one;
// a System V shared-memory slot keyed by the working directory also shows the
// pid of the process inside an exchange, for whoever reads it.

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
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
        // A single application always starts from a fresh lock, whatever
        // another process left behind under the same name.
        int rc = ProcessLock::discard(semName);
        logPrintf(DBG, "TransportProtocol::createSem", "UnlinkNamedSem(%s) = %d", semName, rc);
    }
    if (portLock.open(semName) != SUCCESS) return -1;
    semPort = portLock.semaphore();
    int* slot = nullptr;
    if (getSharedMemory(&slot) != 0) return -1;
    semPid.reset(slot);

    // A pid left in the slot by a process that died inside an exchange is
    // cleared. Its turn is taken over by the lock itself, at the first wait,
    // and the semaphore stays the one every waiter sleeps on.
    int holder = *slot;
    if (holder != 0 && !verifyPid(holder)) *slot = 0;
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
    return ProcessLock::isRunning(pid) ? 1 : 0;
}

// The longest a live process may keep the port in one turn: the pause before
// its command, the longest exchange either framing allows on this line (its
// writes included: they end by the exchange's deadline), and a second of
// margin. A waiter allows two such turns, as one more process may be queued
// ahead. Deriving it from the exchange deadline keeps a waiter from giving up
// on a holder that is still within its own limits.
unsigned int TransportProtocol::portWaitBudgetMs() const {
    uint64_t turn = pauseMs() + longestExchangeMs() + 1000;
    uint64_t budget = 2 * turn;
    return budget > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(budget);
}

int TransportProtocol::lockSem(sem_t* sem) {
    static const char kCaller[] = "TransportProtocol::lockSem";
    if (sem == nullptr || sem != portLock.semaphore()) return ERR_SEM_INVALID;
    ProcessLock::Wait wait;
    const unsigned int budget = portWaitBudgetMs();
    int rc = portLock.acquire(budget, &wait);
    if (rc == ERR_SEM_TIMEOUT) {
        logPrintf(ERR, kCaller, "ERR_SEM_TIMEOUT: port [%s] held by process %d for over %u ms",
                  semName, static_cast<int>(wait.heldBy), budget);
        return rc;
    }
    if (wait.tookOverFrom > 0) {
        logPrintf(WRN, kCaller, "Port [%s] taken over from process %d, which died holding it",
                  semName, static_cast<int>(wait.tookOverFrom));
    } else if (wait.tookOverFrom < 0) {
        logPrintf(WRN, kCaller, "Port [%s] taken over from a process that died taking it",
                  semName);
    }
    if (rc == SUCCESS && semPid != nullptr) *semPid = static_cast<int>(getpid());
    return rc;
}

int TransportProtocol::releaseSem(sem_t* sem) {
    if (sem == nullptr || sem != portLock.semaphore()) return ERR_SEM_INVALID;
    if (semPid != nullptr) *semPid = 0;
    return portLock.release();
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
