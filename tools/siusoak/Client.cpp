#include "tools/siusoak/Client.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>

#include "tools/siuctl/Library.h"
#include "tools/siusoak/Budget.h"

namespace siusoak {

namespace {

// The indicator and the latched sensor the soak's INI files configure.
constexpr unsigned kLedGreen = 14;
constexpr int kSeismic = 2;
// Calls made after the open, by weight; a close is followed by a new open.
constexpr struct {
    Call call;
    int weight;
} kMix[] = {
    {Call::GetSensorStatus, 35}, {Call::SetIndicator, 15},        {Call::SetBuzzer, 10},
    {Call::GetDeviceInfo, 10},   {Call::GetSensorMotionTime, 10}, {Call::ResetSensorStatus, 10},
    {Call::Close, 10},
};

void tell(const std::string& line) {
    // One write per line: the soak reads whole lines from a pipe.
    ssize_t ignored = write(kEventFd, line.data(), line.size());
    (void)ignored;
}

class Service {
public:
    Service(const siuctl::SiuFunctions& f, std::string n, unsigned long seed)
        : siu(f), name(std::move(n)), rng(seed) {}

    void run(const std::atomic<bool>& stop) {
        while (!stop) {
            if (idx < 0) {
                call(Call::Open);
            } else {
                int pick = std::uniform_int_distribution<int>(0, 99)(rng);
                Call c = Call::Close;
                for (const auto& m : kMix) {
                    if (pick < m.weight) {
                        c = m.call;
                        break;
                    }
                    pick -= m.weight;
                }
                call(c);
            }
        }
        if (idx >= 0) call(Call::Close);
    }

private:
    void call(Call c) {
        const int n = static_cast<int>(c);
        tell("B " + name + " " + std::to_string(n) + "\n");
        const auto start = std::chrono::steady_clock::now();
        const int rc = invoke(c);
        const auto us = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::steady_clock::now() - start)
                            .count();
        tell("E " + name + " " + std::to_string(n) + " " + std::to_string(rc) + " " +
             std::to_string(us) + "\n");
        // An open the board did not answer is tried again, a little later.
        if (c == Call::Open && rc != 0) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }

    int invoke(Call c) {
        unsigned int a[7][64] = {};
        switch (c) {
            case Call::Open: {
                const int rc = siu.open(&name[0], &idx);
                if (rc != 0) idx = -1;
                return rc;
            }
            case Call::Close: {
                const int rc = siu.close(&name[0], &idx);
                idx = -1;  // a close that failed is not retried: the next open starts afresh
                return rc;
            }
            case Call::GetSensorStatus:
                return siu.getSensorStatus(idx, a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
            case Call::SetIndicator:
                return siu.setIndicator(idx, kLedGreen, std::uniform_int_distribution<unsigned>(0, 2)(rng));
            case Call::SetBuzzer:
                return siu.setBuzzer(idx, std::uniform_int_distribution<unsigned>(0, 2)(rng));
            case Call::GetDeviceInfo: {
                char* version = nullptr;
                unsigned int w[16];
                const int rc = siu.getDeviceInfo(idx, &version, &w[0], &w[1], &w[2], &w[3], &w[4],
                                                 &w[5], &w[6], &w[7], &w[8], &w[9], &w[10], &w[11],
                                                 &w[12], &w[13], &w[14], &w[15]);
                if (version != nullptr) siu.freeBuffer(reinterpret_cast<unsigned char**>(&version));
                return rc;
            }
            case Call::GetSensorMotionTime: {
                unsigned int t = 0;
                return siu.getSensorMotionTime(idx, &t);
            }
            case Call::ResetSensorStatus:
                a[2][kSeismic] = 1;
                return siu.resetSensorStatus(idx, a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
            case Call::Count:
                break;
        }
        return 0;
    }

    const siuctl::SiuFunctions& siu;
    std::string name;
    std::mt19937_64 rng;
    int idx = -1;
};

}  // namespace

int runClient(const std::string& dir, const std::vector<std::string>& services,
              unsigned long seed) {
    siuctl::Library lib;
    std::string error;
    if (!lib.load(dir, error)) {
        std::fprintf(stderr, "siusoak client: %s\n", error.c_str());
        return 3;
    }
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    unsigned long n = 0;
    for (const std::string& s : services) {
        threads.emplace_back([&, s, n] {
            Service(lib.siu(), s, seed * 7919 + n).run(stop);
        });
        ++n;
    }
    char c;
    while (read(0, &c, 1) > 0) {
    }
    stop = true;
    for (std::thread& t : threads) t.join();
    return 0;
}

}  // namespace siusoak
