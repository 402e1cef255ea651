// The cross-process lock against real processes that hold it, die holding it
// and wait for it.

#include "common/ProcessLock.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include "manager/Global.h"
#include "support/TestSupport.h"

namespace {

using siutest::exitStatus;

class ProcessLockTest : public ::testing::Test {
protected:
    void TearDown() override { ProcessLock::discard(name.c_str()); }

    // A child that runs fn with the lock opened and exits with its result;
    // it writes one byte to the pipe when fn calls ready().
    template <typename Fn>
    pid_t child(Fn fn) {
        pid_t pid = fork();
        if (pid == 0) {
            ProcessLock lock;
            if (lock.open(name.c_str()) != SUCCESS) _exit(20);
            _exit(fn(lock));
        }
        return pid;
    }
    void ready() { (void)!write(pipe_[1], "x", 1); }
    // Whether n children called ready() within 5 s each.
    bool readied(int n) {
        char c;
        for (pollfd p{pipe_[0], POLLIN, 0}; n > 0; --n)
            if (poll(&p, 1, 5000) != 1 || read(pipe_[0], &c, 1) != 1) return false;
        return true;
    }

    std::string name = siutest::uniqueName("/siu_lock");
    int pipe_[2] = {-1, -1};
    int made = pipe(pipe_);
};

}  // namespace

TEST_F(ProcessLockTest, AHolderThatDiesHandsTheTurnToEveryWaiterAlreadyBlocked) {
    const struct {
        const char* how;
        bool recorded;  // false: killed between the semaphore and the record
        bool reaped;    // false: left a zombie while the waiters decide
    } cases[] = {
        {"killed holding, reaped", true, true},
        {"killed holding, a zombie", true, false},
        {"killed before it recorded itself", false, true},
    };
    {
        // A turn of the test's own first: every child below is forked from a
        // process that already knows who it is, and must not hold as it.
        ProcessLock lock;
        ASSERT_EQ(SUCCESS, lock.open(name.c_str()));
        ASSERT_EQ(SUCCESS, lock.acquire(0));
        lock.release();
    }
    for (const auto& c : cases) {
        pid_t holder = child([&](ProcessLock& lock) {
            if (c.recorded ? lock.acquire(0) != SUCCESS : sem_trywait(lock.semaphore()) != 0)
                return 1;
            ready();
            return pause();
        });
        ASSERT_TRUE(readied(1)) << c.how;
        // Exit 0: took the dead holder's turn over; 1: got it from the other waiter.
        auto waiter = [&] {
            return child([&](ProcessLock& lock) {
                ready();
                ProcessLock::Wait wait;
                if (lock.acquire(8000, &wait) != SUCCESS) return 10;
                usleep(20000);
                lock.release();
                return wait.tookOverFrom == 0 ? 1 : 0;
            });
        };
        pid_t a = waiter(), b = waiter();
        ASSERT_TRUE(readied(2)) << c.how;
        usleep(2 * ProcessLock::kSliceMs * 1000);  // both asleep on the semaphore
        kill(holder, SIGKILL);
        if (c.reaped) {
            EXPECT_EQ(128 + SIGKILL, exitStatus(holder));
        }
        EXPECT_EQ(1, exitStatus(a) + exitStatus(b)) << c.how;  // one takes over, one follows
        if (!c.reaped) {
            EXPECT_FALSE(ProcessLock::isRunning(holder)) << c.how;
            EXPECT_EQ(128 + SIGKILL, exitStatus(holder));
        }

        ProcessLock lock;  // given back: free at once, the semaphore counted once
        ASSERT_EQ(SUCCESS, lock.open(name.c_str()));
        int count = -1;
        sem_getvalue(lock.semaphore(), &count);
        EXPECT_EQ(1, count) << c.how;
        ProcessLock::discard(name.c_str());
    }
}
