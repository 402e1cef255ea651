#pragma once
// Checksums and block checks of the device protocols.

// XOR of buf[first..last] inclusive: the block check of both link protocols.
unsigned int GetBCC(const unsigned char* buf, unsigned int first, unsigned int last);
unsigned int getCrc16(const unsigned char* buf, unsigned int first, unsigned int last);
int GetCRC16_CTcoin(const unsigned char* buf, unsigned int len, unsigned int* crc);
unsigned short calc_crc_Sankyo1775(unsigned short crc, unsigned char byte);
unsigned short GetCRC_Sankyo1775(const unsigned char* buf, unsigned short len);
unsigned short calc_crc_Sankyo1776(unsigned short crc, unsigned char byte);
unsigned short GetCRC_Sankyo1776(const unsigned char* buf, unsigned short len);
extern const unsigned short crc16_fcstab[256];
unsigned short crc16_ComputeFCS(unsigned short fcs, const unsigned char* buf, int len);
void crc16_FinishFCS(unsigned short fcs, unsigned char* out);
unsigned short crc16_fitec_update(unsigned short crc, unsigned char byte);
unsigned short crc16_fitec(const void* buf, int len);
extern const unsigned short CrcTable[256];
unsigned short CalculateCRC(const unsigned char* buf, unsigned int len);
unsigned char CalculateCRC_MSB(const unsigned char* buf, unsigned int len);
unsigned char CalculateCRC_LSB(const unsigned char* buf, unsigned int len);
// lsb is v % 255, not a mask: the protocols that use it were built that way.
void Calculate_MSB_LSB(unsigned int v, unsigned int* msb, unsigned int* lsb);
void cctalk_calc_simple_checksum(unsigned char* msg);
int cctalk_check_simple_checksum(const unsigned char* msg);
