#include "common/Hex.h"

#include <cctype>
#include <cstring>

void CharToHex(unsigned char* out, const char* in, int len) {
    if (out == nullptr || in == nullptr) return;
    // No validation: a digit gives c - '0', a letter c - '7' ("A".."F" give 10..15).
    auto nibble = [](char ch) {
        int c = std::toupper(static_cast<unsigned char>(ch));
        return static_cast<unsigned char>(c < 'A' ? c - '0' : c - '7');
    };
    for (int i = 0; i + 1 < len; i += 2) {
        out[i / 2] = static_cast<unsigned char>((nibble(in[i]) << 4) | (nibble(in[i + 1]) & 0x0F));
    }
}

void HexToChar(char* out, const unsigned char* in, int n) {
    if (out == nullptr || n < 0) return;
    std::memset(out, 0, static_cast<size_t>(2 * n + 1));
    if (in == nullptr) return;
    static const char digits[] = "0123456789ABCDEF";
    for (int i = 0; i < n; ++i) {
        out[2 * i] = digits[in[i] >> 4];
        out[2 * i + 1] = digits[in[i] & 0x0F];
    }
}

unsigned char* bufferToHexa(const char* text, int len, unsigned char** out, unsigned int* outLen) {
    if (out == nullptr || outLen == nullptr) return nullptr;
    if (text == nullptr || len < 1) {
        *out = nullptr;
        *outLen = 0;
        return nullptr;
    }
    unsigned int n = static_cast<unsigned int>((len + 1) / 2);
    unsigned char* bytes = new unsigned char[n]();
    for (int i = 0; i < len; ++i) {
        int c = std::toupper(static_cast<unsigned char>(text[i]));
        unsigned char v = static_cast<unsigned char>(c > 0x40 ? c - 0x37 : c - '0');
        if (i % 2 == 0)
            bytes[i / 2] = static_cast<unsigned char>(v << 4);
        else
            bytes[i / 2] = static_cast<unsigned char>(bytes[i / 2] | (v & 0x0F));
    }
    *out = bytes;
    *outLen = n;
    return bytes;
}

int insertIntInBuffer(unsigned char* buffer, int idxBuffer, int vlr, unsigned int qtdBytesCP,
                      int lenFieldSize) {
    if (qtdBytesCP > 4) return -1;
    if (buffer == nullptr || idxBuffer < 0 || lenFieldSize < 0) return -1;
    unsigned char* p = buffer + idxBuffer;
    for (int i = 0; i < lenFieldSize; ++i) p[i] = 0;
    if (lenFieldSize > 0) p[lenFieldSize - 1] = static_cast<unsigned char>(qtdBytesCP);
    p += lenFieldSize;
    unsigned int v = static_cast<unsigned int>(vlr);
    for (unsigned int i = 0; i < qtdBytesCP; ++i) {
        p[i] = static_cast<unsigned char>(v >> (8 * (qtdBytesCP - 1 - i)));
    }
    return 0;
}

unsigned int bufferHexToint(const unsigned char* buf, unsigned int n) {
    if (n > 4 || buf == nullptr) return 0;
    unsigned int v = 0;
    for (unsigned int i = 0; i < n; ++i) v = (v << 8) | buf[i];
    return v;
}

char* uIntToBinaryString(unsigned int value, char* buf, unsigned short size) {
    if (buf == nullptr || size <= 1) return nullptr;
    std::memset(buf, '0', size - 1u);
    buf[size - 1] = '\0';
    for (unsigned int k = 0; k < 32 && k < size - 1u; ++k) {
        if (value & (1u << k)) buf[size - 2 - k] = '1';
    }
    return buf;
}
