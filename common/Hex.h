#pragma once
// Hexadecimal text and bytes, and integers packed into buffers.

void CharToHex(unsigned char* out, const char* in, int len);
void HexToChar(char* out, const unsigned char* in, int n);
unsigned char* bufferToHexa(const char* text, int len, unsigned char** out, unsigned int* outLen);
int insertIntInBuffer(unsigned char* buffer, int idxBuffer, int vlr, unsigned int qtdBytesCP,
                      int lenFieldSize);
unsigned int bufferHexToint(const unsigned char* buf, unsigned int n);
char* uIntToBinaryString(unsigned int value, char* buf, unsigned short size);
