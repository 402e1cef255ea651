#include "libuart/comm_base.h"

#include "manager/Global.h"

// Calls the base Close explicitly: during destruction the derived part is
// already gone, and derived classes close their own port in their destructor.
CommBase::~CommBase() {
    CommBase::Close();
}

int CommBase::Open(usb_config_s*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Open(uart_config_s*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Open(mfr_config_s*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Open(socket_config_s*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Open(file_config_s*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Open(hid_config_s*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Close() {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Write(const unsigned char*, int) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Read(unsigned char*, int) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::Flush(unsigned char) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetTimeout(int) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetTimeout(int, int) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetFlowControl(int) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetPinOut_DTR(unsigned short) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetPinOut_RTS(unsigned short) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::GetPinOut(unsigned char*) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetSpeed(int) {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::LineLost() {
    return ERR_CBI_UNSUPPORTED;
}
int CommBase::SetSendDeadline(uint64_t) {
    return ERR_CBI_UNSUPPORTED;
}
