// Placeholders for the two framing exchanges until they are written.

#include "manager/Global.h"
#include "transport/TransportProtocol.h"

uint64_t TransportProtocol::ullL1_LastCommand = 0;

int TransportProtocol::protocolNorvaDireto(int, unsigned char*, int, unsigned char**, int*) {
    return ERR_SER_INVALID_PROTOCOL;
}

int TransportProtocol::protocolNorva485(int, unsigned char*, int, unsigned char**, int*) {
    return ERR_SER_INVALID_PROTOCOL;
}
