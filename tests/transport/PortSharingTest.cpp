#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include "TransportTestSupport.h"
#include "manager/Global.h"

using namespace transporttest;

namespace {

// An exchange that writes an opening and, a little later, a closing mark to
// the line: two exchanges that overlap leave interleaved marks.
class MarkingTransport : public TransportProtocol {
public:
    MarkingTransport(void* params, unsigned char mark) : TransportProtocol(params), id(mark) {}
    int callProtocolByHeritage(int, unsigned char*, int, unsigned char**, int*) override {
        unsigned char opening[] = {'<', id};
        unsigned char closing[] = {id, '>'};
        if (Write(opening, 2, false) != 2) return ERR_SER_WRITE_FAILED;
        Sleep_ms(5);  // widens the window an unserialised exchange would need
        return Write(closing, 2, false) == 2 ? 0 : ERR_SER_WRITE_FAILED;
    }

private:
    unsigned char id;
};

// An exchange that reports through one pipe that it holds the port and then
// waits for a byte on another (for ever when none comes).
class HoldingTransport : public TestTransport {
public:
    HoldingTransport(void* params, int entered, int leave)
        : TestTransport(params), enteredFd(entered), leaveFd(leave) {}
    int callProtocolByHeritage(int, unsigned char*, int, unsigned char**, int*) override {
        char c = 'x';
        if (write(enteredFd, &c, 1) != 1) return ERR_GEN_INTERNAL_ERROR;
        return read(leaveFd, &c, 1) == 1 ? 0 : ERR_SER_TIMEOUT;
    }

private:
    int enteredFd;
    int leaveFd;
};

struct Pipe {
    Pipe() {
        if (pipe(fd) != 0) fd[0] = fd[1] = -1;
    }
    ~Pipe() {
        close(fd[0]);
        close(fd[1]);
    }
    bool await(int ms = 10000) const {
        pollfd p{fd[0], POLLIN, 0};
        char c;
        return poll(&p, 1, ms) == 1 && read(fd[0], &c, 1) == 1;
    }
    int fd[2];
};

class PortSharing : public TransportTest {
protected:
    // A child process that opens the port and holds it inside an exchange.
    pid_t startHolder() {
        writeIni(lib, keys);
        return runChild([this] {
            Service svc(lib);
            HoldingTransport tp(&svc.params, entered.fd[1], leave.fd[0]);
            if (tp.openPort() != 0) return 10;
            return tp.sendRecvData(1, nullptr, 0, nullptr, nullptr, 1) == 0 ? 0 : 11;
        });
    }

    Pipe entered;
    Pipe leave;
};

}  // namespace

TEST_F(PortSharing, TwoProcessesSharingAPortNeverInterleaveExchanges) {
    const int kExchanges = 10;
    setKey(keys, "MultipleApplication", "Y");
    writeIni(lib, keys);
    // Opening a line discards what is queued on it, so both open first.
    auto exchanger = [this](unsigned char mark) {
        return runChild([this, mark] {
            Service svc(lib);
            MarkingTransport tp(&svc.params, mark);
            if (tp.openPort() != 0) return 10;
            char c = 'x';
            if (write(entered.fd[1], &c, 1) != 1 || read(leave.fd[0], &c, 1) != 1) return 12;
            for (int i = 0; i < kExchanges; ++i) {
                if (tp.sendRecvData(1, nullptr, 0, nullptr, nullptr, 1) != 0) return 11;
            }
            return 0;
        });
    };
    pid_t a = exchanger('a');
    pid_t b = exchanger('b');
    EXPECT_TRUE(entered.await() && entered.await());
    ASSERT_EQ(2, write(leave.fd[1], "xx", 2));
    std::string line = pty.receive(2 * kExchanges * 4, 20000);
    EXPECT_EQ(0, waitChild(a));
    EXPECT_EQ(0, waitChild(b));
    ASSERT_EQ(2u * kExchanges * 4, line.size()) << line;
    for (size_t i = 0; i < line.size(); i += 4) {
        EXPECT_TRUE(line[i] == '<' && line[i + 1] == line[i + 2] && line[i + 3] == '>')
            << "exchanges overlap: " << line;
    }
}

TEST_F(PortSharing, AProcessKilledInsideAnExchangeDoesNotBlockTheNextOne) {
    setKey(keys, "MultipleApplication", "Y");
    pid_t holder = startHolder();
    ASSERT_TRUE(entered.await());
    EXPECT_EQ(holder, OwnWorkingDirectory::slotValue(cwd.dir.path()));
    kill(holder, SIGKILL);
    ASSERT_EQ(-1, waitChild(holder));
    EXPECT_EQ(holder, OwnWorkingDirectory::slotValue(cwd.dir.path()));  // left behind

    pid_t next = runChild([this] {
        Service svc(lib);
        TestTransport tp(&svc.params);
        if (tp.openPort() != 0) return 10;
        if (*tp.slot() != 0) return 12;
        return tp.sendRecvData(1, nullptr, 0, nullptr, nullptr, 1) == 0 ? 0 : 11;
    });
    EXPECT_EQ(0, waitChild(next));
}

TEST_F(PortSharing, WorkingDirectoriesHaveTheirOwnSlotButShareTheDevicesSemaphore) {
    setKey(keys, "MultipleApplication", "Y");
    pid_t holder = startHolder();
    ASSERT_TRUE(entered.await());
    EXPECT_EQ(holder, OwnWorkingDirectory::slotValue(cwd.dir.path()));

    siutest::TempDir other;
    pid_t elsewhere = runChild([this, &other] {
        if (chdir(other.path().c_str()) != 0) return 9;
        Service svc(lib);
        TestTransport tp(&svc.params);
        if (tp.openPort() != 0) return 10;
        if (*tp.slot() != 0) return 12;      // not the holder's slot
        return tp.semValue() == 0 ? 0 : 13;  // but the holder's semaphore
    });
    EXPECT_EQ(0, waitChild(elsewhere));
    EXPECT_EQ(0, OwnWorkingDirectory::slotValue(other.path()));
    OwnWorkingDirectory::removeSlot(other.path());

    ASSERT_EQ(1, write(leave.fd[1], "x", 1));
    EXPECT_EQ(0, waitChild(holder));
}

TEST_F(PortSharing, OnlySharingKeepsTheSemaphoreOfAnotherHolder) {
    for (const char* sharing : {"N", "Y"}) {
        setKey(keys, "MultipleApplication", sharing);
        auto first = make();
        auto firstService = std::move(service);
        ASSERT_EQ(0, first->openPort());
        first->lockSem(first->semaphore());
        auto second = make();
        ASSERT_EQ(0, second->openPort());
        // Without sharing the second open unlinked the name and made its own.
        EXPECT_EQ(sharing[0] == 'N' ? 1 : 0, second->semValue()) << sharing;
        first->releaseSem(first->semaphore());
        EXPECT_EQ(0, second->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1));
        second.reset();
        first.reset();
    }
}
