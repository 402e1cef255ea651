#pragma once
// A port whose modem status lines are whatever the test says. A pty has no
// modem lines, so layers that read them through GetPinOut are tested against
// this; everything else keeps the CommBase answer (ERR_CBI_UNSUPPORTED).

#include "libuart/comm_base.h"
#include "manager/Global.h"

namespace siutest {

class FakePort : public CommBase {
public:
    unsigned char pins = 0;  // reported by GetPinOut, bit 1 CTS ... bit 32 DCD
    int pinResult = 0;       // GetPinOut's result; pins are left alone when negative
    int pinReads = 0;        // GetPinOut calls so far

    int GetPinOut(unsigned char* out) override {
        ++pinReads;
        if (pinResult < 0) return pinResult;
        if (out == nullptr) return ERR_SER_RTS_FAILED;  // as CommUart answers
        *out = pins;
        return pinResult;
    }
};

}  // namespace siutest
